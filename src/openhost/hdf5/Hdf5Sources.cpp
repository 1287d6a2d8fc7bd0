#include "hdf5/Hdf5Sources.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "hdf5/Hdf5Handle.h"

#include <algorithm>
#include <sys/stat.h>

namespace ombrel {

namespace {

constexpr std::size_t deepestNesting = 16; // each level needs a large part of the library's stack
constexpr zt::u64 mostSources = 1'000'000; // read for one frame

std::pair<zt::u64, zt::u64> fileIdentity(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? std::pair<zt::u64, zt::u64>(status.st_dev, status.st_ino)
                                              : std::pair<zt::u64, zt::u64>();
}

// A name that the library returns in two calls: its length, then its characters.
template <typename Get>
std::string nameBy(Get get) {
    std::string name(static_cast<std::size_t>(std::max<ssize_t>(get(nullptr, 0), 0)), '\0');
    get(name.data(), name.size() + 1);
    return name;
}

// %b is replaced by the block number, if there is one, and %% by %.
std::string expanded(const std::string& pattern, std::optional<zt::u64> block) {
    std::string name;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        if (pattern[i] == '%' && next == 'b' && block) {
            name += std::to_string(*block);
            ++i;
        } else {
            name += pattern[i];
            i += pattern[i] == '%' && next == '%' ? 1 : 0;
        }
    }
    return name;
}

bool namesBlocks(const std::string& pattern) {
    return expanded(pattern, 0) != expanded(pattern, std::nullopt);
}

// The unlimited axis of a selection, and the distances of its blocks there.
struct OpenAxis {
    std::size_t axis = 0;
    hsize_t start = 0;
    hsize_t stride = 1;
};

std::optional<OpenAxis> openAxisOf(hid_t space) {
    const auto rank = static_cast<std::size_t>(std::max(H5Sget_simple_extent_ndims(space), 0));
    std::vector<hsize_t> start(rank), stride(rank), count(rank), block(rank);
    if (rank == 0 || H5Sis_regular_hyperslab(space) <= 0 ||
        H5Sget_regular_hyperslab(space, start.data(), stride.data(), count.data(), block.data()) < 0)
        return std::nullopt;
    const auto axis = static_cast<std::size_t>(std::ranges::find(count, H5S_UNLIMITED) - count.begin());
    return axis < rank ? std::optional<OpenAxis>({axis, start[axis], std::max<hsize_t>(stride[axis], 1)})
                       : std::nullopt;
}

double claimedBytes(hid_t dataset) {
    auto bytes = static_cast<double>(H5Tget_size(Hdf5Type{H5Dget_type(dataset)}));
    for (const hsize_t side : extentOf(Hdf5Space{H5Dget_space(dataset)}))
        bytes *= static_cast<double>(side);
    return bytes;
}

void checkDepth(std::size_t depth) {
    if (depth > deepestNesting)
        throw Error("its sources are nested more than " + std::to_string(deepestNesting) + " deep");
}

// Values that were never written read as fill values; no compression exceeds this ratio.
void checkClaim(hid_t dataset, double stored) {
    constexpr double mostBytesPerByte = 65536;
    constexpr double alwaysAllowed = 1 << 26;
    const double claimed = claimedBytes(dataset);
    if (claimed > stored * mostBytesPerByte + alwaysAllowed)
        throw Error("it claims " + bytesText(claimed) + " of values, but holds " + bytesText(stored));
}

} // namespace

// One part of a virtual dataset.
struct Hdf5Sources::Mapping {
    std::string file;
    std::string dataset;
    std::optional<OpenAxis> blocks; // of a series, in which each block has its own source
    zt::u64 found = 0;              // sources

    std::string fileOf(zt::u64 block) const { return expanded(file, numberOf(block)); }
    std::string datasetOf(zt::u64 block) const { return expanded(dataset, numberOf(block)); }
    std::string name(zt::u64 block) const {
        return (file == "." ? "" : fileOf(block)) + "::" + datasetOf(block);
    }

private:
    std::optional<zt::u64> numberOf(zt::u64 block) const {
        return blocks ? std::optional(block) : std::nullopt;
    }
};

std::optional<std::string> Hdf5Sources::problemOf(hid_t dataset) {
    open.clear();
    try {
        check(dataset);
        if (!allowOpenFiles(sources.size()))
            return "its sources are " + std::to_string(sources.size()) +
                   " files, more than may be open at once; raise the limit with ulimit -n";
        return std::nullopt;
    } catch (const Error& problem) {
        return problem.what();
    }
}

std::vector<std::string> Hdf5Sources::files() const {
    std::vector<std::string> paths;
    for (const auto& [identity, path] : sources)
        paths.push_back(path);
    return paths;
}

Hdf5Sources::Stored Hdf5Sources::sum(Stored one, Stored other) {
    const Stored both{one.datasets + other.datasets, one.bytes + other.bytes,
                      std::max(one.depth, other.depth)};
    if (both.datasets > mostSources)
        throw Error("it has more than " + std::to_string(mostSources) + " sources");
    return both;
}

Hdf5Sources::Stored Hdf5Sources::check(hid_t dataset) {
    const Hdf5Properties creation{H5Dget_create_plist(dataset)};
    checkRawFiles(creation);
    if (H5Pget_layout(creation) != H5D_VIRTUAL) {
        const Stored stored{1, H5Pget_external_count(creation) > 0
                                   ? claimedBytes(dataset)
                                   : static_cast<double>(H5Dget_storage_size(dataset))};
        checkClaim(dataset, stored.bytes);
        return stored;
    }
    const auto [device, inode] = fileIdentity(hdf5FileName(dataset));
    H5O_info_t info{};
    H5Oget_info2(dataset, &info, H5O_INFO_BASIC);
    const Key key{device, inode, info.addr};
    if (const auto known = done.find(key); known != done.end())
        return known->second;
    if (std::ranges::find(open, key) != open.end())
        throw Error("it is a source of itself");
    open.push_back(key);
    checkDepth(open.size());
    Stored stored = checkVirtual(dataset, creation);
    checkDepth(++stored.depth); // a source that was checked earlier is not in `open`
    open.pop_back();
    checkClaim(dataset, stored.bytes);
    return done[key] = stored;
}

Hdf5Sources::Stored Hdf5Sources::checkVirtual(hid_t dataset, hid_t creation) {
    std::size_t count = 0;
    H5Pget_virtual_count(creation, &count);
    std::vector<Mapping> series;
    Stored stored;
    for (std::size_t i = 0; i < count; ++i) {
        Mapping mapping{nameBy([&](char* to, std::size_t size) {
                            return H5Pget_virtual_filename(creation, i, to, size);
                        }),
                        nameBy([&](char* to, std::size_t size) {
                            return H5Pget_virtual_dsetname(creation, i, to, size);
                        }),
                        {}};
        if (namesBlocks(mapping.file) || namesBlocks(mapping.dataset))
            mapping.blocks = openAxisOf(Hdf5Space{H5Pget_virtual_vspace(creation, i)});
        stored = sum(stored, checkMapping(dataset, mapping));
        if (mapping.blocks)
            series.push_back(mapping);
    }
    // After each source was checked, the library may determine the extent. The longest of several series of
    // sources determines it, and the others must have the same length.
    const std::vector<hsize_t> extent = extentOf(Hdf5Space{H5Dget_space(dataset)});
    for (const Mapping& mapping : series)
        if (mapping.blocks->axis < extent.size() &&
            mapping.blocks->start + mapping.found * mapping.blocks->stride < extent[mapping.blocks->axis])
            throw Error("its source " + mapping.name(mapping.found) + " is missing");
    return stored;
}

Hdf5Sources::Stored Hdf5Sources::checkMapping(hid_t dataset, Mapping& mapping) {
    Stored stored;
    while (const auto more = checkSource(dataset, mapping, mapping.found)) {
        ++mapping.found;
        stored = sum(stored, *more);
        if (!mapping.blocks)
            break;
    }
    if (mapping.found == 0)
        throw Error("its source " + (mapping.blocks ? mapping.name(0) : mapping.file) + " is missing");
    return stored;
}

// Nothing if the file does not exist, or lacks the dataset of a series.
std::optional<Hdf5Sources::Stored> Hdf5Sources::checkSource(hid_t dataset, const Mapping& mapping,
                                                            zt::u64 block) {
    const std::string file = mapping.fileOf(block);
    const std::string name = mapping.datasetOf(block);
    Hdf5FileHandle source;
    if (file == ".") {
        source = Hdf5FileHandle{H5Iget_file_id(dataset)};
    } else {
        const LinkedFile found = findLinkedFile(file, hdf5FileName(dataset), "HDF5_VDS_PREFIX");
        if (found.path.empty())
            return std::nullopt;
        if (!found.problem.empty())
            throw Error("its source " + file + ' ' + found.problem);
        sources.emplace(fileIdentity(found.path), found.path);
        source = openHdf5(found.path, "a source that cannot be opened");
    }
    if (mapping.blocks && !openHdf5Object(source, name).isOpen())
        return std::nullopt;
    return checkSourceIn(source, file, name);
}

Hdf5Sources::Stored Hdf5Sources::checkSourceIn(hid_t file, const std::string& shownFile,
                                               const std::string& name) {
    const Hdf5Object source = openHdf5Object(file, name);
    const std::string shown = "its source " + shownFile + "::" + name;
    if (!source.isOpen()) {
        const auto dead = deadLinkOn(file, name);
        throw Error(shown + (dead ? " cannot be opened: " + dead->text : " is missing"));
    }
    if (H5Iget_type(source) != H5I_DATASET)
        throw Error(shown + " is not a dataset");
    return check(source);
}

// Raw files are searched from the working directory, or in the folder of HDF5_EXTFILE_PREFIX.
void Hdf5Sources::checkRawFiles(hid_t creation) {
    const int count = H5Pget_external_count(creation);
    for (int i = 0; i < count; ++i) {
        std::vector<char> name(4097, '\0');
        off_t offset = 0;
        hsize_t size = 0;
        H5Pget_external(creation, static_cast<unsigned>(i), name.size() - 1, name.data(), &offset, &size);
        struct stat status {};
        if (::stat(name.data(), &status) != 0)
            continue;
        if (!S_ISREG(status.st_mode))
            throw Error(std::string("its raw file ") + name.data() + " is not a regular file");
        // After the end of the file, the library reads zeros.
        const hsize_t end = static_cast<hsize_t>(offset) + (size == H5F_UNLIMITED ? 0 : size);
        if (static_cast<hsize_t>(status.st_size) < end)
            throw Error(std::string("its raw file ") + name.data() + " is truncated (" +
                        std::to_string(status.st_size) + " of " + std::to_string(end) + " bytes)");
        sources.emplace(fileIdentity(name.data()), name.data());
    }
}

} // namespace ombrel
