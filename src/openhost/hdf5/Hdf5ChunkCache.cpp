#include "hdf5/Hdf5ChunkCache.h"

#include "hdf5/Hdf5Open.h"
#include "hdf5/Hdf5Shape.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace ombrel {

namespace {

constexpr std::size_t mostBytes = std::size_t{512} << 20;
constexpr std::size_t mostSlots = std::size_t{1} << 20;

struct CacheSize {
    std::size_t slots = 521; // the library's own sizes
    std::size_t bytes = std::size_t{1} << 20;
};

CacheSize cacheSizeOf(hid_t dataset, const Hdf5Shape& shape) {
    CacheSize size;
    const Hdf5Properties creation{H5Dget_create_plist(dataset)};
    if (H5Pget_layout(creation) != H5D_CHUNKED)
        return size;
    std::vector<hsize_t> chunk(shape.extent.size());
    H5Pget_chunk(creation, static_cast<int>(chunk.size()), chunk.data());
    const Hdf5Type type{H5Dget_type(dataset)};
    std::size_t layerBytes = H5Tget_size(type) * (chunk.size() > 2 ? chunk[0] : 1);
    std::size_t slots = 1;
    for (std::size_t axis = chunk.size() > 2 ? 1 : 0; axis < chunk.size(); ++axis) {
        const hsize_t chunks = (shape.extent[axis] + chunk[axis] - 1) / chunk[axis];
        layerBytes *= chunks * chunk[axis];
        // The library's hash shifts the chunk's number along each axis by a whole number of bits: with as
        // many slots, no two chunks of a frame drive each other out.
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
    const CacheSize size = cacheSizeOf(dataset, *shape);
    const Hdf5Properties access = hdf5Access(H5P_DATASET_ACCESS);
    // 1: chunks that were read whole go first.
    H5Pset_chunk_cache(access, size.slots, size.bytes, 1);
    dataset.close(); // a second handle would share the cache of the first
    return Hdf5Dataset{H5Dopen2(file, path.c_str(), access)};
}

} // namespace ombrel
