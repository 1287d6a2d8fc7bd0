#include "hdf5/Hdf5Handle.h"

#include "base/Error.h"

#include <hdf5.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace ombrel {

namespace {

std::recursive_mutex& libraryMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// The library's text for a failed system call has two lines, with times and addresses: only the call and the
// reason are kept.
std::string oneLine(std::string text) {
    constexpr std::string_view mark = "error message = '";
    const auto details = text.find(": time = ");
    const auto begin = text.find(mark);
    if (details != std::string::npos && begin != std::string::npos) {
        const auto message = begin + mark.size();
        text = text.substr(0, details) + ": " + text.substr(message, text.find('\'', message) - message);
    }
    std::ranges::replace(text, '\n', ' ');
    return text;
}

} // namespace

Hdf5Session::Hdf5Session() : lock{libraryMutex()} {
    static const herr_t cleanUpAtExitIsOff = (checkMemory(), H5dont_atexit());
    static_cast<void>(cleanUpAtExitIsOff);
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

void Hdf5Session::checkMemory() {
    constexpr std::size_t tablesOfOneFile = std::size_t{16} << 20;
    void* const room =
        ::mmap(nullptr, tablesOfOneFile, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED)
        throw std::bad_alloc();
    ::munmap(room, tablesOfOneFile);
}

std::string Hdf5Session::reason() {
    std::string text;
    const auto keepFirst = [](unsigned, const H5E_error2_t* error, void* kept) -> herr_t {
        auto& first = *static_cast<std::string*>(kept);
        if (first.empty() && error->desc)
            first = ": " + oneLine(error->desc);
        return 0;
    };
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, keepFirst, &text);
    return text;
}

namespace {

namespace fs = std::filesystem;

// The folders in the environment variable; a leading ${ORIGIN} is the owner's folder.
void addPrefixed(std::vector<fs::path>& places, const char* variable, const fs::path& folder,
                 const fs::path& name) {
    constexpr std::string_view origin = "${ORIGIN}";
    const char* const value = std::getenv(variable);
    std::string_view prefixes = value ? value : "";
    while (!prefixes.empty()) {
        std::string_view prefix = prefixes.substr(0, prefixes.find(':'));
        prefixes.remove_prefix(std::min(prefix.size() + 1, prefixes.size()));
        if (prefix.starts_with(origin))
            places.push_back(folder / fs::path(prefix.substr(origin.size())).relative_path() / name);
        else if (!prefix.empty())
            places.push_back(prefix / name);
    }
}

// The places that the library searches, in its order.
std::vector<fs::path> placesOf(const fs::path& name, const fs::path& owner, const char* variable) {
    std::error_code ignored;
    const fs::path folder = fs::absolute(owner, ignored).parent_path();
    std::vector<fs::path> places;
    fs::path relative = name;
    if (name.is_absolute()) {
        places.push_back(name);
        relative = name.filename();
    }
    addPrefixed(places, variable, folder, relative);
    places.push_back(folder / relative);
    places.push_back(relative);
    places.push_back(fs::canonical(owner, ignored).parent_path() / relative);
    return places;
}

// Called by the library before it opens the file of an external link.
herr_t allowRegularFile(const char* parentFile, const char*, const char* linkedFile, const char*, unsigned*,
                        hid_t, void*) {
    try {
        const LinkedFile file = findLinkedFile(linkedFile, parentFile, "HDF5_EXT_PREFIX");
        return file.path.empty() || file.problem.empty() ? 0 : -1;
    } catch (...) {
        return -1;
    }
}

// The target of a soft link at `path`.
std::string targetOf(const std::string& path, const std::string& target) {
    return target.starts_with('/') ? target : path.substr(0, path.rfind('/') + 1) + target;
}

DeadLink deadExternalLink(const std::string& path, const std::string& owner, const std::vector<char>& value) {
    unsigned flags = 0;
    const char* name = nullptr;
    const char* object = nullptr;
    if (H5Lunpack_elink_val(value.data(), value.size(), &flags, &name, &object) < 0)
        return {path + " is a dangling link", true};
    const LinkedFile file = findLinkedFile(name, owner, "HDF5_EXT_PREFIX");
    const std::string problem = file.problem.empty() ? "cannot be opened" : file.problem;
    return {path + " is a link to " + name + "::" + object + ", which " + problem, true};
}

// Describes the link at `path`, whose target does not open.
std::optional<DeadLink> describeLink(hid_t place, const std::string& path, int depth) {
    constexpr int deepest = 16; // of links to links
    const Hdf5Properties access = hdf5Access(H5P_LINK_ACCESS);
    H5L_info_t info{};
    if (H5Lget_info(place, path.c_str(), &info, access) < 0)
        return std::nullopt;
    if (info.type != H5L_TYPE_SOFT && info.type != H5L_TYPE_EXTERNAL)
        return DeadLink{path + " cannot be opened"};
    std::vector<char> value(info.u.val_size + 1, '\0');
    if (H5Lget_val(place, path.c_str(), value.data(), info.u.val_size, access) < 0)
        return DeadLink{path + " is a dangling link"};
    value.pop_back();
    if (info.type == H5L_TYPE_EXTERNAL)
        return deadExternalLink(path, hdf5FileName(place), value);
    const std::string target(value.data());
    const auto further =
        depth < deepest ? deadLinkOn(place, targetOf(path, target), depth + 1) : std::nullopt;
    return further ? further : DeadLink{path + " is a dangling link to " + target};
}

} // namespace

Hdf5FileHandle openHdf5(const std::string& path, const std::string& problem) {
    Hdf5Session::checkMemory();
    const Hdf5Properties access{H5Pcreate(H5P_FILE_ACCESS)};
    // A lock would refuse files on file systems without locks, and ombrel's own outputs while they grow.
    H5Pset_file_locking(access, false, true);
    Hdf5FileHandle file{H5Fopen(path.c_str(), H5F_ACC_RDONLY, access)};
    if (!file.isOpen()) // thrown here: the library loses the reason when `access` is closed
        throw Error(path + ": " + problem + Hdf5Session::reason());
    return file;
}

namespace {

// Made once: thousands of objects are opened with it. It is never closed.
hid_t linkAccess() {
    static const hid_t access = [] {
        const hid_t made = H5Pcreate(H5P_LINK_ACCESS);
        H5Pset_elink_cb(made, allowRegularFile, nullptr);
        return made;
    }();
    return access;
}

} // namespace

Hdf5Object openHdf5Object(hid_t place, const std::string& path) {
    return Hdf5Object{H5Oopen(place, path.c_str(), linkAccess())};
}

bool mayExistInHdf5(hid_t place, const std::string& path) {
    return H5Lexists(place, path.c_str(), linkAccess()) != 0; // negative if it is not known
}

Hdf5Properties hdf5Access(hid_t propertyClass) {
    Hdf5Properties access{H5Pcreate(propertyClass)};
    H5Pset_elink_cb(access, allowRegularFile, nullptr);
    return access;
}

std::optional<DeadLink> deadLinkOn(hid_t place, const std::string& path, int depth) {
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find('/', end + 1);
        const std::string begin = path.substr(0, end);
        if (begin != "/" && !openHdf5Object(place, begin).isOpen())
            return describeLink(place, begin, depth);
    }
    return std::nullopt;
}

LinkedFile findLinkedFile(const std::string& name, const std::string& owner, const char* prefixVariable) {
    for (const fs::path& place : placesOf(name, owner, prefixVariable)) {
        struct stat status {};
        if (::stat(place.c_str(), &status) == 0)
            return {place.string(), S_ISREG(status.st_mode) ? "" : "is not a regular file"};
    }
    return {"", "does not exist"};
}

bool allowOpenFiles(std::size_t count) {
    constexpr rlim_t others = 64; // descriptors for other files
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (count + others <= limit.rlim_cur)
        return true;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, count + others);
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur == count + others;
}

std::vector<hsize_t> extentOf(hid_t space) {
    std::vector<hsize_t> extent(static_cast<std::size_t>(std::max(H5Sget_simple_extent_ndims(space), 0)));
    H5Sget_simple_extent_dims(space, extent.data(), nullptr);
    return extent;
}

std::string hdf5FileName(hid_t object) {
    const ssize_t length = H5Fget_name(object, nullptr, 0);
    std::string name(static_cast<std::size_t>(std::max<ssize_t>(length, 0)), '\0');
    H5Fget_name(object, name.data(), name.size() + 1);
    return name;
}

} // namespace ombrel
