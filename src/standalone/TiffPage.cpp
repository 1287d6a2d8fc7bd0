#include "standalone/TiffPage.h"

#include "standalone/Error.h"
#include "standalone/PixelType.h"

namespace ombrel {

namespace {

template <typename T>
T fieldOr(TIFF* tiff, zt::u32 tag, T missing) {
    T value{};
    return TIFFGetFieldDefaulted(tiff, tag, &value) == 1 ? value : missing;
}

std::optional<zt::u8> pixelTypeOf(zt::u16 bits, zt::u16 sampleFormat) {
    const bool isFloat = sampleFormat == SAMPLEFORMAT_IEEEFP;
    const bool isSigned = sampleFormat == SAMPLEFORMAT_INT;
    if (sampleFormat > SAMPLEFORMAT_VOID)
        return std::nullopt;
    switch (bits) {
    case 8:
        return isFloat ? std::nullopt : std::optional<zt::u8>(isSigned ? zt::DT_I8 : zt::DT_U8);
    case 16:
        return isFloat ? std::nullopt : std::optional<zt::u8>(isSigned ? zt::DT_I16 : zt::DT_U16);
    case 32:
        return isFloat ? zt::DT_FLOAT : isSigned ? zt::DT_I32 : zt::DT_U32;
    case 64:
        return isFloat ? zt::DT_DOUBLE : isSigned ? zt::DT_I64 : zt::DT_U64;
    default:
        return std::nullopt;
    }
}

zt::u8 checkedPixelType(TIFF* tiff, const std::string& where) {
    const auto samples = fieldOr<zt::u16>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    if (samples != 1)
        throw Error(where + ": " + std::to_string(samples) +
                    " values a pixel (a colour image?); frames have one");
    const auto photometric = fieldOr<zt::u16>(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_MINISWHITE)
        throw Error(where + ": the pixels are no grey values (photometric interpretation " +
                    std::to_string(photometric) + ")");
    const auto bits = fieldOr<zt::u16>(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    const auto format = fieldOr<zt::u16>(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    const auto pixelType = pixelTypeOf(bits, format);
    if (!pixelType)
        throw Error(where + ": pixels of " + std::to_string(bits) +
                    (format == SAMPLEFORMAT_IEEEFP ? "-bit floating point" : " bits") +
                    "; frames are integers of 8, 16, 32 or 64 bits, or floats of 32 or 64");
    return *pixelType;
}

zt::u16 checkedCompression(TIFF* tiff, const std::string& where) {
    const auto compression = fieldOr<zt::u16>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (TIFFIsCODECConfigured(compression) != 1)
        throw Error(where + ": compression " + std::to_string(compression) + " cannot be read");
    return compression;
}

// Bytes that strip or tile `index` holds when it is not compressed.
zt::u64 plainSize(TIFF* tiff, const TiffPage& page, zt::u32 index) {
    if (TIFFIsTiled(tiff))
        return TIFFTileSize64(tiff);
    const auto rowsPerStrip = fieldOr<zt::u32>(tiff, TIFFTAG_ROWSPERSTRIP, page.height);
    const zt::u64 firstRow = zt::u64{index} * rowsPerStrip;
    const zt::u64 rows = std::min<zt::u64>(rowsPerStrip, page.height - firstRow);
    return rows * page.width * pixelSize(page.pixelType);
}

// Checks that all the pixels are there, and notes where they stand when they can be read without the library.
void locatePixels(const TiffHandle& handle, TiffPage& page, const std::string& where, zt::u64 fileSize) {
    TIFF* tiff = handle.get();
    const bool plain = checkedCompression(tiff, where) == COMPRESSION_NONE;
    const zt::u32 count = TIFFIsTiled(tiff) ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    bool inOnePiece =
        plain && !TIFFIsTiled(tiff) && (!TIFFIsByteSwapped(tiff) || pixelSize(page.pixelType) == 1);
    if (count == 0)
        throw Error(where + ": an image without pixels");
    zt::u64 expectedOffset = TIFFGetStrileOffset(tiff, 0);
    for (zt::u32 index = 0; index < count; ++index) {
        const zt::u64 offset = TIFFGetStrileOffset(tiff, index);
        const zt::u64 size = TIFFGetStrileByteCount(tiff, index);
        const zt::u64 needed = plain ? plainSize(tiff, page, index) : 1;
        if (offset == 0 || size < needed || offset > fileSize || size > fileSize - offset)
            throw Error(where + ": the file is cut off or damaged: pixels are missing" + handle.reason());
        inOnePiece = inOnePiece && offset == expectedOffset;
        expectedOffset = offset + needed;
    }
    if (inOnePiece)
        page.pixelOffset = TIFFGetStrileOffset(tiff, 0);
}

} // namespace

TiffPage examineTiffPage(const TiffHandle& tiff, const std::string& where, zt::u64 fileSize) {
    TiffPage page;
    page.width = fieldOr<zt::u32>(tiff.get(), TIFFTAG_IMAGEWIDTH, 0);
    page.height = fieldOr<zt::u32>(tiff.get(), TIFFTAG_IMAGELENGTH, 0);
    if (page.width == 0 || page.height == 0)
        throw Error(where + ": an image without pixels");
    page.pixelType = checkedPixelType(tiff.get(), where);
    page.directoryOffset = TIFFCurrentDirOffset(tiff.get());
    locatePixels(tiff, page, where, fileSize);
    return page;
}

} // namespace ombrel
