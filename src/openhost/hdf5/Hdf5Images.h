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

// The packages of Debian and Ubuntu that hold a filter.
std::string hdf5FilterPackages(H5Z_filter_t filter);

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

// The images of one dataset, or of several as one stack. Only the dataset that was read last is open.
class Hdf5ImageStack {
public:
    // Throws Error like Hdf5Images, and if the images of the datasets are not alike.
    Hdf5ImageStack(hid_t file, std::vector<std::string> datasets, const std::string& where);

    // Of all datasets together.
    const Hdf5Shape& shape() const { return wholeShape; }

    // Like those of Hdf5Images; null for several datasets.
    const FileDescriptor* rawFile() const { return datasets.size() == 1 ? images->rawFile() : nullptr; }
    zt::u64 rawOffset(zt::u32 frame, zt::u32 subFrame) const { return images->rawOffset(frame, subFrame); }
    void read(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels);

private:
    void add(const Hdf5Shape& shape, const std::string& dataset);

    hid_t file; // owned by the caller
    std::string shownPath;
    std::vector<std::string> datasets;
    std::vector<zt::u32> ends; // of the frames of each dataset, in the stack
    Hdf5Shape wholeShape;
    std::optional<Hdf5Images> images;
    std::size_t opened = 0; // the dataset of `images`
};

} // namespace ombrel
