#include "tiff/TiffPage.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <tiff.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace ombrel {

namespace {

constexpr int HANDLED = 1;

// A second error is mostly a consequence of the first, and less specific.
__attribute__((format(printf, 4, 0))) int keepError(TIFF*, void* kept, const char*, const char* format,
                                                    std::va_list arguments) {
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    auto& first = *static_cast<std::string*>(kept);
    if (first.empty())
        first = text.data();
    return HANDLED;
}

// Warnings are about tags that are not used here.
int dropWarning(TIFF*, void*, const char*, const char*, std::va_list) {
    return HANDLED;
}

struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

} // namespace

TiffHandle::TiffHandle(const std::string& path) : lastError{std::make_unique<std::string>()} {
    const std::unique_ptr<TIFFOpenOptions, FreeOptions> options{TIFFOpenOptionsAlloc()};
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, lastError.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), dropWarning, nullptr);
    // "m": no memory mapping, since a file that shrinks meanwhile would crash the program. "c": no splitting
    // of strips.
    tiff.reset(TIFFOpenExt(path.c_str(), "rmc", options.get()));
    if (!tiff)
        throw Error(path + ": this TIFF file is truncated or damaged" + reason());
}

std::string TiffHandle::reason() const {
    return lastError->empty() ? std::string() : ": " + *lastError;
}

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
        return isFloat ? zt::DT_FLOAT : isSigned ? zt::DT_I16 : zt::DT_U16;
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
                    "; frames are integers of 8, 16, 32 or 64 bits, or floats of 16, 32 or 64");
    return *pixelType;
}

zt::u16 checkedCompression(TIFF* tiff, const std::string& where) {
    const auto compression = fieldOr<zt::u16>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (TIFFIsCODECConfigured(compression) != 1)
        throw Error(where + ": compression " + std::to_string(compression) + " cannot be read");
    return compression;
}

// The highest compression ratio of a codec. Some codecs store a constant image in a hundred bytes; for these
// it is a ratio that no real detector image approaches.
zt::u64 mostBytesPerByte(zt::u16 compression) {
    switch (compression) {
    case COMPRESSION_NONE:
        return 1;
    case COMPRESSION_PACKBITS:
        return 64;
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
        return 1032;
    case COMPRESSION_LZW:
        return 1400;
    case COMPRESSION_LZMA:
        return 8192;
    case COMPRESSION_ZSTD:
        return 32768;
    default:
        return zt::u64{1} << 24;
    }
}

// Uncompressed size of strip or tile `index`.
zt::u64 plainSize(TIFF* tiff, const TiffPage& page, zt::u32 index) {
    if (TIFFIsTiled(tiff))
        return TIFFTileSize64(tiff);
    const auto rowsPerStrip = fieldOr<zt::u32>(tiff, TIFFTAG_ROWSPERSTRIP, page.height);
    const zt::u64 firstRow = zt::u64{index} * rowsPerStrip;
    const zt::u64 rows = std::min<zt::u64>(rowsPerStrip, page.height - firstRow);
    return rows * page.width * page.storedPixelBytes;
}

// If the file has the other bit order, the library must reverse the bits.
bool canBeReadDirectly(TIFF* tiff) {
    return fieldOr<zt::u16>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_NONE &&
           fieldOr<zt::u16>(tiff, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB) == FILLORDER_MSB2LSB &&
           !TIFFIsTiled(tiff);
}

// Checks that all pixels are stored, and notes their offset if they can be read without the library. The size
// of each strip or tile is checked against its stored bytes, so that a small file cannot demand much memory.
void locatePixels(const TiffHandle& handle, TiffPage& page, const std::string& where, zt::u64 fileSize) {
    TIFF* tiff = handle.get();
    const zt::u64 expansion = mostBytesPerByte(checkedCompression(tiff, where));
    const zt::u32 count = TIFFIsTiled(tiff) ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    bool inOnePiece = canBeReadDirectly(tiff);
    if (count == 0)
        throw Error(where + ": an image without pixels");
    zt::u64 expectedOffset = TIFFGetStrileOffset(tiff, 0);
    for (zt::u32 index = 0; index < count; ++index) {
        const zt::u64 offset = TIFFGetStrileOffset(tiff, index);
        const zt::u64 size = TIFFGetStrileByteCount(tiff, index);
        const zt::u64 plain = plainSize(tiff, page, index);
        const zt::u64 needed = (plain + expansion - 1) / expansion;
        if (offset == 0 || plain == 0 || size < needed || offset > fileSize || size > fileSize - offset)
            throw Error(where + ": the file is truncated or damaged: " +
                        (TIFFIsTiled(tiff) ? "tile " : "strip ") + std::to_string(index) + " has " +
                        std::to_string(plain) + " bytes of pixels, but is stored in " + std::to_string(size) +
                        " bytes at offset " + std::to_string(offset) + handle.reason());
        inOnePiece = inOnePiece && offset == expectedOffset;
        expectedOffset = offset + plain;
    }
    if (inOnePiece)
        page.pixelOffset = TIFFGetStrileOffset(tiff, 0);
}

} // namespace

bool TiffPage::isHalf() const {
    return storedPixelBytes < pixelSize(pixelType);
}

TiffPage examineTiffPage(const TiffHandle& tiff, const std::string& where, zt::u64 fileSize) {
    TiffPage page;
    page.width = fieldOr<zt::u32>(tiff.get(), TIFFTAG_IMAGEWIDTH, 0);
    page.height = fieldOr<zt::u32>(tiff.get(), TIFFTAG_IMAGELENGTH, 0);
    if (page.width == 0 || page.height == 0)
        throw Error(where + ": an image without pixels");
    page.pixelType = checkedPixelType(tiff.get(), where);
    page.storedPixelBytes = fieldOr<zt::u16>(tiff.get(), TIFFTAG_BITSPERSAMPLE, 1) / 8;
    constexpr double mostBytes = 1ULL << 62; // sizes up to here can be added without overflow
    if (static_cast<double>(page.width) * page.height * static_cast<double>(pixelSize(page.pixelType)) >
        mostBytes)
        throw Error(where + ": the file is damaged: it claims " + sizeText(page.width, page.height) +
                    " pixels");
    page.directoryOffset = TIFFCurrentDirOffset(tiff.get());
    locatePixels(tiff, page, where, fileSize);
    return page;
}

zt::u32 imagesDescribed(const TiffHandle& tiff) {
    const char* text = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_IMAGEDESCRIPTION, &text) != 1 || !text)
        return 1;
    const std::string_view description(text);
    constexpr std::string_view key = "\nimages=";
    const auto begin = description.find(key);
    if (!description.starts_with("ImageJ=") || begin == std::string_view::npos)
        return 1;
    const std::string_view rest = description.substr(begin + key.size());
    return std::max(readNumber<zt::u32>(rest.substr(0, rest.find('\n'))).value_or(1), 1U);
}

} // namespace ombrel
