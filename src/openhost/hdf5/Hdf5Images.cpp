#include "hdf5/Hdf5Images.h"

#include "base/Error.h"
#include "frame/PixelType.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Values.h"

#include <algorithm>
#include <bit>
#include <fcntl.h>
#include <limits>
#include <utility>
#include <vector>

namespace ombrel {

namespace {

constexpr std::size_t mostBytes = std::size_t{512} << 20;
constexpr std::size_t mostSlots = std::size_t{1} << 20;

struct CacheSize {
    std::size_t slots = 521; // the library's defaults
    std::size_t bytes = std::size_t{1} << 20;
};

CacheSize cacheSizeOf(hid_t dataset, hid_t creation, const Hdf5Shape& shape) {
    CacheSize size;
    std::vector<hsize_t> chunk(shape.extent.size());
    H5Pget_chunk(creation, static_cast<int>(chunk.size()), chunk.data());
    const Hdf5Type type{H5Dget_type(dataset)};
    std::size_t layerBytes = H5Tget_size(type) * (chunk.size() > 2 ? chunk[0] : 1);
    std::size_t slots = 1;
    for (std::size_t axis = chunk.size() > 2 ? 1 : 0; axis < chunk.size(); ++axis) {
        const hsize_t chunks = (shape.extent[axis] + chunk[axis] - 1) / chunk[axis];
        layerBytes *= chunks * chunk[axis];
        // The library's hash shifts the chunk's number along each axis by a whole number of bits: with this
        // many slots, no two chunks of a frame displace each other.
        slots *= std::bit_ceil(chunks);
    }
    size.bytes = std::clamp(layerBytes, size.bytes, mostBytes);
    size.slots = std::clamp(slots, size.slots, mostSlots);
    return size;
}

} // namespace

Hdf5Dataset openWithChunkCache(hid_t file, const std::string& path) {
    Hdf5Dataset dataset{H5Dopen2(file, path.c_str(), hdf5Access(H5P_DATASET_ACCESS))};
    const auto shape = dataset.isOpen() ? shapeOfImages(dataset) : std::nullopt;
    if (!shape)
        return {};
    const Hdf5Properties creation{H5Dget_create_plist(dataset)};
    if (H5Pget_layout(creation) != H5D_CHUNKED)
        return dataset;
    const CacheSize size = cacheSizeOf(dataset, creation, *shape);
    const Hdf5Properties access = hdf5Access(H5P_DATASET_ACCESS);
    // 1: chunks that were read completely are dropped first.
    H5Pset_chunk_cache(access, size.slots, size.bytes, 1);
    dataset.close(); // a second handle would share the cache of the first
    return Hdf5Dataset{H5Dopen2(file, path.c_str(), access)};
}

namespace {

// The extent of one image: all axes but the last two are 1.
std::vector<hsize_t> extentOfImage(const Hdf5Shape& shape) {
    std::vector<hsize_t> extent = shape.extent;
    std::fill(extent.begin(), extent.end() - 2, 1);
    return extent;
}

} // namespace

std::string hdf5FilterPackages(H5Z_filter_t filter) {
    switch (filter) {
    case 307:   // bzip2
    case 32004: // LZ4
        return "the package hdf5-filter-plugin";
    case 32008: // bitshuffle
        return "the packages hdf5-filter-plugin and bitshuffle";
    case 32000: // LZF
        return "the package hdf5-plugin-lzf";
    case 32001: // Blosc
        return "the package hdf5-filter-plugin-blosc-serial";
    case 32013: // ZFP
        return "the package hdf5-filter-plugin-zfp-serial";
    default:
        return "the filter's plug-in (for many: the package hdf5-filter-plugin)";
    }
}

namespace {

// A separate descriptor of the file that really holds the dataset, possibly the target of a link.
std::optional<FileDescriptor> duplicateDescriptor(hid_t dataset, const std::string& path) {
    const Hdf5FileHandle owner{H5Iget_file_id(dataset)};
    void* handle = nullptr;
    if (!owner.isOpen() || H5Fget_vfd_handle(owner, H5P_DEFAULT, &handle) < 0)
        return std::nullopt;
    const int copy = ::fcntl(*static_cast<int*>(handle), F_DUPFD_CLOEXEC, 0);
    return copy < 0 ? std::nullopt : std::optional<FileDescriptor>(std::in_place, copy, path);
}

} // namespace

Hdf5Images::Hdf5Images(hid_t fileHandle, const std::string& path, const std::string& where)
    : dataset{openWithChunkCache(fileHandle, path)} {
    const auto shapeFound = dataset.isOpen() ? shapeOfImages(dataset) : std::nullopt;
    if (!shapeFound)
        throw Error(where + ": " + path + " cannot be opened" + Hdf5Session::reason());
    imageShape = *shapeFound;
    space = Hdf5Space{H5Dget_space(dataset)};
    const std::vector<hsize_t> image = extentOfImage(imageShape);
    imageSpace = Hdf5Space{H5Screate_simple(static_cast<int>(image.size()), image.data(), nullptr)};
    const Hdf5Type type{H5Dget_type(dataset)};
    storedAsNative = H5Tequal(type, nativeHdf5Type(imageShape.pixelType)) > 0;

    const Hdf5Properties creation{H5Dget_create_plist(dataset)};
    checkFilters(creation, where);
    if (H5Pget_layout(creation) == H5D_CONTIGUOUS)
        findContiguousPixels(where);
    if (H5Pget_layout(creation) == H5D_CHUNKED) {
        std::vector<hsize_t> chunk(image.size());
        H5Pget_chunk(creation, static_cast<int>(chunk.size()), chunk.data());
        chunkIsImage = storedAsNative && chunk == image && H5Pget_nfilters(creation) == 0;
    }
}

void Hdf5Images::checkFilters(hid_t creation, const std::string& where) const {
    for (int index = 0; index < H5Pget_nfilters(creation); ++index) {
        unsigned flags = 0;
        unsigned config = 0;
        std::size_t valueCount = 0;
        char name[64] = "";
        const H5Z_filter_t filter = H5Pget_filter2(creation, static_cast<unsigned>(index), &flags,
                                                   &valueCount, nullptr, sizeof name, name, &config);
        if (H5Zfilter_avail(filter) <= 0)
            throw Error(where + ": compressed by HDF5 filter " + std::to_string(filter) + " (" + name +
                        "), which is not installed; install " + hdf5FilterPackages(filter) +
                        ", or set HDF5_PLUGIN_PATH to its folder");
    }
}

void Hdf5Images::findContiguousPixels(const std::string& where) {
    const haddr_t offset = H5Dget_offset(dataset);
    if (offset == HADDR_UNDEF) // nothing written yet, or stored in other files: the library reads it
        return;
    auto descriptor = duplicateDescriptor(dataset, where);
    if (!descriptor)
        return;
    const zt::u64 fileSize = descriptor->size();
    const zt::u64 dataSize = H5Dget_storage_size(dataset);
    if (offset > fileSize || dataSize > fileSize - offset)
        throw Error(where + ": the file is truncated or damaged: pixels are missing");
    if (storedAsNative) {
        file = std::move(descriptor);
        firstPixel = offset;
    }
}

zt::u64 Hdf5Images::rawOffset(zt::u32 frame, zt::u32 subFrame) const {
    const zt::u64 index = zt::u64{frame} * std::max(imageShape.subFrames(), 1U) + subFrame;
    return firstPixel + index * imageShape.width() * imageShape.height() * pixelSize(imageShape.pixelType);
}

void Hdf5Images::read(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) {
    std::vector<hsize_t> start(imageShape.extent.size(), 0);
    if (start.size() > 2)
        start[0] = frame;
    if (start.size() > 3)
        start[1] = subFrame;
    if (!chunkIsImage || !readChunk(start, pixels))
        readByLibrary(start, pixels);
}

// False for a chunk that was never written.
bool Hdf5Images::readChunk(const std::vector<hsize_t>& start, std::span<std::byte> pixels) {
    std::uint32_t filters = 0;
    return H5Dread_chunk(dataset, H5P_DEFAULT, start.data(), &filters, pixels.data()) >= 0;
}

void Hdf5Images::readByLibrary(const std::vector<hsize_t>& start, std::span<std::byte> pixels) {
    const std::vector<hsize_t> count = extentOfImage(imageShape);
    if (H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, count.data(), nullptr) < 0 ||
        H5Dread(dataset, nativeHdf5Type(imageShape.pixelType), imageSpace, space, H5P_DEFAULT,
                pixels.data()) < 0)
        throw Error("cannot be read" + Hdf5Session::reason());
}

Hdf5ImageStack::Hdf5ImageStack(hid_t fileHandle, std::vector<std::string> names, const std::string& where)
    : file{fileHandle}, shownPath{where}, datasets{std::move(names)} {
    for (opened = 0; opened < datasets.size(); ++opened) {
        images.reset(); // before the next one is opened, so that their caches never add up
        images.emplace(file, datasets[opened], shownPath);
        add(images->shape(), datasets[opened]);
    }
    --opened;
}

void Hdf5ImageStack::add(const Hdf5Shape& shape, const std::string& dataset) {
    if (ends.empty()) {
        wholeShape = shape;
    } else {
        if (shape.width() != wholeShape.width() || shape.height() != wholeShape.height() ||
            shape.subFrames() != wholeShape.subFrames() || shape.pixelType != wholeShape.pixelType)
            throw Error(shownPath + ": " + dataset + " is " + shapeText(shape) + ", but " + datasets.front() +
                        " is " + shapeText(wholeShape) + "; frames must be alike");
        if (shape.frames() > std::numeric_limits<zt::u32>::max() - ends.back())
            throw Error(shownPath + ": too many frames");
        if (wholeShape.extent.size() == 2)
            wholeShape.extent.insert(wholeShape.extent.begin(), 1);
        wholeShape.extent[0] += shape.frames();
    }
    ends.push_back(wholeShape.frames());
}

void Hdf5ImageStack::read(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) {
    const auto part = static_cast<std::size_t>(std::ranges::upper_bound(ends, frame) - ends.begin());
    if (part != opened || !images) {
        images.reset();
        images.emplace(file, datasets[part], shownPath);
        opened = part;
    }
    images->read(frame - (part == 0 ? 0 : ends[part - 1]), subFrame, pixels);
}

} // namespace ombrel
