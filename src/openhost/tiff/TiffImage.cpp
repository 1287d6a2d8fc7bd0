#include "base/AtomicFile.h"
#include "base/Error.h"
#include "tiff/TiffOutput.h"

#include <tiffio.h>

#include <memory>
#include <vector>

namespace ombrel {

namespace {

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};

} // namespace

void writeTiffImage(const std::string& path, zt::u32 width, std::span<const zt::u8> pixels) {
    AtomicFile file(path);
    std::unique_ptr<TIFF, CloseTiff> tiff{TIFFOpen(file.newPath().c_str(), "w")};
    bool good = tiff != nullptr;
    if (good) {
        const auto height = static_cast<zt::u32>(pixels.size() / width);
        TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff.get(), TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, height);
        std::vector<zt::u8> copy(pixels.begin(), pixels.end()); // the library takes bytes that it may change
        good = TIFFWriteEncodedStrip(tiff.get(), 0, copy.data(), static_cast<tmsize_t>(copy.size())) >= 0 &&
               TIFFFlush(tiff.get()) != 0;
    }
    if (!good)
        throw Error(path + ": the image can't be written; check the free space on the disk");
    tiff.reset();
    file.commit();
}

} // namespace ombrel
