#pragma once

#include <hdf5.h>

#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace ombrel {

// Holds the HDF5 library, which is not made for several threads everywhere, for one of them; and keeps it
// from printing errors and from doing things at exit, where it may crash after a close that failed. Every use
// of the library stands in the scope of one; scopes may be nested.
class Hdf5Session {
public:
    Hdf5Session();

    // Throws std::bad_alloc when there is too little memory for opening or making a file: the library does
    // not survive that everywhere.
    static void checkMemory();

    // ": the library's words" for the last error, or nothing.
    static std::string reason();

private:
    std::unique_lock<std::recursive_mutex> lock;
};

// Owns an identifier of the HDF5 library; none when it is negative.
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

// Opens the file for reading, whoever has locked it. Throws Error: "PATH: PROBLEM: the library's reason".
Hdf5FileHandle openHdf5(const std::string& path, const std::string& problem);

// Opens what a path leads to, in other files too. A link to a pipe or a device is not followed, since opening
// it would hang. Not open when there is nothing.
Hdf5Object openHdf5Object(hid_t place, const std::string& path);

// Access properties of that class with which the library follows links as openHdf5Object() does.
Hdf5Properties hdf5Access(hid_t propertyClass);

// Why a path does not open: the link on it that leads nowhere.
struct DeadLink {
    std::string text; // "/entry/data is a link to raw.h5::/data, which does not exist"
    bool intoOtherFile = false;
};

// Nothing when nothing has that name.
std::optional<DeadLink> deadLinkOn(hid_t place, const std::string& path, int depth = 0);

// The file that the library takes for a name in a link or a virtual dataset of another file.
struct LinkedFile {
    std::string path;    // the first of its places where there is a file; empty when there is none
    std::string problem; // "does not exist" or "is no regular file"; empty for a file that may be opened
};

// `prefixVariable` is the environment variable that names folders to look in first.
LinkedFile findLinkedFile(const std::string& name, const std::string& owner, const char* prefixVariable);

// The path by which the file was opened that an object is in.
std::string hdf5FileName(hid_t object);

} // namespace ombrel
