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

// Opens a dataset with a chunk cache large enough for the chunks of one frame, so that reading frame by frame
// decompresses a chunk of several frames only once. The cache is bounded. Not open if the library refuses.
Hdf5Dataset openWithChunkCache(hid_t file, const std::string& path);

// The images of one dataset, read in the fastest way that its storage allows.
class Hdf5Images {
public:
    // Throws Error that begins with `where` if the dataset is truncated or its compression is unknown.
    Hdf5Images(hid_t file, const std::string& dataset, const std::string& where);

    const Hdf5Shape& shape() const { return imageShape; }

    // The file that holds the bytes of all images, one after the other; null if they can only be read by the
    // library.
    const FileDescriptor* rawFile() const { return file ? &*file : nullptr; }
    zt::u64 rawOffset(zt::u32 frame, zt::u32 subFrame) const;

    // Reads an image by the library, in the shape's pixel type. The text of an Error is only the reason.
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
    bool storedAsNative = false;        // the file stores the bytes of the pixel type
    bool chunkIsImage = false;          // each chunk also is one uncompressed image
    std::optional<FileDescriptor> file; // of contiguous native pixels
    zt::u64 firstPixel = 0;             // its offset in that file
};

} // namespace ombrel
