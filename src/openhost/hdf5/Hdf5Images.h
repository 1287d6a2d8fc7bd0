#pragma once

#include "base/FileDescriptor.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Values.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// Opens a dataset with a chunk cache that holds the chunks of one frame, so that reading frame by frame
// decompresses a chunk that spans several frames only once. Bounded; not open when the library refuses.
Hdf5Dataset openWithChunkCache(hid_t file, const std::string& path);

// The images of one dataset, each read by the quickest way that its storage allows.
class Hdf5Images {
public:
    // Throws Error with `where` at its begin: the dataset is cut off, or compressed in a way unknown here.
    Hdf5Images(hid_t file, const std::string& dataset, const std::string& where);

    const Hdf5Shape& shape() const { return imageShape; }

    // Reads an image in the shape's pixel type. Throws Error with the reason alone.
    void read(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels);

private:
    void checkFilters(hid_t creation, const std::string& where) const;
    void findContiguousPixels(const std::string& where);
    bool readChunk(const std::vector<hsize_t>& start, std::span<std::byte> pixels);
    void readByLibrary(const std::vector<hsize_t>& start, std::span<std::byte> pixels);

    Hdf5Dataset dataset;
    Hdf5Shape imageShape;
    Hdf5Space space;
    Hdf5Space imageSpace;
    bool storedAsNative = false;        // the bytes in the file are those of the pixel type
    bool chunkIsImage = false;          // and each chunk is one image, not compressed
    std::optional<FileDescriptor> file; // of contiguous native pixels
    zt::u64 firstPixel = 0;             // and where these begin
};

} // namespace ombrel
