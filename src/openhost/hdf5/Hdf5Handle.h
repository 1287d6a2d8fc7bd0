#pragma once

#include <hdf5.h>

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ombrel {

// Locks the HDF5 library, which is not thread-safe in every build, for one thread. Also stops it from
// printing errors and from cleaning up at exit, where it may crash after a failed close. Use the library only
// in the scope of such an object; scopes may be nested.
class Hdf5Session {
public:
    Hdf5Session();

    // Throws std::bad_alloc if memory is too short to open or create a file: the library does not handle that
    // reliably.
    static void checkMemory();

    // ": " and the library's text for the last error, or empty.
    static std::string reason();

private:
    std::unique_lock<std::recursive_mutex> lock;
};

// Owns an identifier of the HDF5 library; a negative one is not open.
template <herr_t (*closeIdentifier)(hid_t)>
class Hdf5Handle {
public:
    Hdf5Handle() = default;
    explicit Hdf5Handle(hid_t owned) : identifier{owned} {}
    Hdf5Handle(Hdf5Handle&& other) noexcept : identifier{std::exchange(other.identifier, H5I_INVALID_HID)} {}
    Hdf5Handle& operator=(Hdf5Handle&& other) noexcept {
        std::swap(identifier, other.identifier);
        return *this;
    }
    ~Hdf5Handle() { close(); }

    bool isOpen() const { return identifier >= 0; }
    operator hid_t() const { return identifier; }

    // False when the library reports a failure.
    bool close() {
        if (!isOpen())
            return true;
        const Hdf5Session session;
        return closeIdentifier(std::exchange(identifier, H5I_INVALID_HID)) >= 0;
    }

private:
    hid_t identifier = H5I_INVALID_HID;
};

using Hdf5FileHandle = Hdf5Handle<H5Fclose>;
using Hdf5Group = Hdf5Handle<H5Gclose>;
using Hdf5Object = Hdf5Handle<H5Oclose>;
using Hdf5Dataset = Hdf5Handle<H5Dclose>;
using Hdf5Space = Hdf5Handle<H5Sclose>;
using Hdf5Type = Hdf5Handle<H5Tclose>;
using Hdf5Attribute = Hdf5Handle<H5Aclose>;
using Hdf5Properties = Hdf5Handle<H5Pclose>;

// Opens the file read-only, ignoring file locks. Throws Error: "PATH: PROBLEM: the library's reason".
Hdf5FileHandle openHdf5(const std::string& path, const std::string& problem);

// Opens the object at a path, following links into other files. A link to a pipe or a device is not followed,
// since opening it would block. Not open if the object does not exist.
Hdf5Object openHdf5Object(hid_t place, const std::string& path);

// False if the last part of the path names nothing. Cheaper than a failed attempt to open it.
bool mayExistInHdf5(hid_t place, const std::string& path);

// Access properties of that class, with which the library follows links as openHdf5Object() does.
Hdf5Properties hdf5Access(hid_t propertyClass);

// Why a path does not open: a dangling link on it.
struct DeadLink {
    std::string text; // "/entry/data is a link to raw.h5::/data, which does not exist"
    bool intoOtherFile = false;
};

// Nothing if no such link exists.
std::optional<DeadLink> deadLinkOn(hid_t place, const std::string& path, int depth = 0);

// The file that the library finds for a name in a link or a virtual dataset of another file.
struct LinkedFile {
    std::string path;    // the first place that exists; empty if none does
    std::string problem; // "does not exist" or "is not a regular file"; empty for a file that may be opened
};

// `prefixVariable` is the environment variable that names the folders to search first.
LinkedFile findLinkedFile(const std::string& name, const std::string& owner, const char* prefixVariable);

// Raises the process's limit, where it is too low for so many files that the library keeps open at once: one
// that it cannot open counts as missing. False if that is not allowed.
bool allowOpenFiles(std::size_t count);

// The numbers of values on each axis, slowest first; empty for a single value.
std::vector<hsize_t> extentOf(hid_t space);

// The path under which the file of an object was opened.
std::string hdf5FileName(hid_t object);

} // namespace ombrel
