#include "fixtures/ErrorText.h"
#include "fixtures/TemporaryFolder.h"
#include "standalone/FrameFile.h"

#include <gmock/gmock.h>
#include <tiffio.h>

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

using ombrel::FrameFile;
using ::testing::HasSubstr;

namespace {

constexpr zt::u32 width = 37;
constexpr zt::u32 height = 29;
constexpr zt::u32 pages = 4;

struct TiffVariant {
    const char* name;
    const char* mode; // of the library: b for this processor's other byte order, 8 for BigTIFF
    zt::u32 rowsPerStrip;
    zt::u32 tileSide; // 0 for strips
    zt::u16 compression;
    zt::u16 predictor;
    bool backwards = false; // the last strip stands first in the file
};

void PrintTo(const TiffVariant& variant, std::ostream* out) {
    *out << variant.name;
}

class TiffFileVariants : public ::testing::TestWithParam<TiffVariant> {
protected:
    static float pixel(zt::u32 page, zt::u32 x, zt::u32 y) {
        return static_cast<float>(page) * 1000 + static_cast<float>(y * width + x) / 8;
    }

    static std::vector<float> block(zt::u32 page, zt::u32 left, zt::u32 top, zt::u32 columns, zt::u32 rows) {
        std::vector<float> pixels;
        for (zt::u32 y = top; y < top + rows; ++y)
            for (zt::u32 x = left; x < left + columns; ++x)
                pixels.push_back(pixel(page, x, y));
        return pixels;
    }

    static void writePage(TIFF* tiff, zt::u32 page, const TiffVariant& variant) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 32);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, variant.compression);
        if (variant.predictor)
            TIFFSetField(tiff, TIFFTAG_PREDICTOR, variant.predictor);
        variant.tileSide ? writeTiles(tiff, page, variant.tileSide) : writeStrips(tiff, page, variant);
        TIFFWriteDirectory(tiff);
    }

    static void writeStrips(TIFF* tiff, zt::u32 page, const TiffVariant& variant) {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, variant.rowsPerStrip);
        const zt::u32 count = (height + variant.rowsPerStrip - 1) / variant.rowsPerStrip;
        for (zt::u32 index = 0; index < count; ++index) {
            const zt::u32 strip = variant.backwards ? count - 1 - index : index;
            const zt::u32 top = strip * variant.rowsPerStrip;
            auto pixels = block(page, 0, top, width, std::min(variant.rowsPerStrip, height - top));
            TIFFWriteEncodedStrip(tiff, strip, pixels.data(),
                                  static_cast<tmsize_t>(pixels.size() * sizeof(float)));
        }
    }

    static void writeTiles(TIFF* tiff, zt::u32 page, zt::u32 side) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, side);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, side);
        for (zt::u32 top = 0; top < height; top += side)
            for (zt::u32 left = 0; left < width; left += side) {
                auto pixels = block(page, left, top, side, side);
                TIFFWriteTile(tiff, pixels.data(), left, top, 0, 0);
            }
    }

    const TemporaryFolder folder;
};

class TiffFileRefusal : public ::testing::Test {
protected:
    static constexpr zt::u32 side = 8;

    using Change = std::function<void(TIFF*)>;

    // A page of 8 x 8 u8, but for what `change` sets.
    static void addPage(TIFF* tiff, const Change& change) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, side);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, side);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, side);
        change(tiff);
        std::vector<char> pixels(static_cast<std::size_t>(TIFFStripSize(tiff)));
        TIFFWriteEncodedStrip(tiff, 0, pixels.data(), TIFFStripSize(tiff));
        TIFFWriteDirectory(tiff);
    }

    void expect(const std::string& words, const Change& change, const Change& changeOfSecond = {}) {
        TIFF* tiff = TIFFOpen(path.c_str(), "w");
        addPage(tiff, change);
        if (changeOfSecond)
            addPage(tiff, changeOfSecond);
        TIFFClose(tiff);
        const std::string error = errorOf([&] { FrameFile::open(path); });
        EXPECT_THAT(error, HasSubstr(path + ", frame " + (changeOfSecond ? "1" : "0")));
        EXPECT_THAT(error, HasSubstr(words));
    }

    const TemporaryFolder folder;
    const std::string path = folder / "page.tif";
};

template <typename... Values>
auto set(zt::u32 tag, Values... values) {
    return [=](TIFF* tiff) { TIFFSetField(tiff, tag, values...); };
}

void setNothing(TIFF*) {}

} // namespace

TEST_P(TiffFileVariants, AreReadPageByPageInAnyOrder) {
    const std::string path = folder / "pages";
    TIFF* tiff = TIFFOpen(path.c_str(), GetParam().mode);
    for (zt::u32 page = 0; page < pages; ++page)
        writePage(tiff, page, GetParam());
    TIFFClose(tiff);

    const auto file = FrameFile::open(path);
    ASSERT_EQ(file->info().frames, pages);
    std::vector<float> pixels(width * height);
    for (const zt::u32 page : {3U, 0U, 2U, 1U, 1U}) {
        file->readImage(page, 0, std::as_writable_bytes(std::span(pixels)));
        EXPECT_EQ(pixels, block(page, 0, 0, width, height)) << "page " << page;
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, TiffFileVariants,
    ::testing::Values(TiffVariant{"oneStrip", "w", height, 0, COMPRESSION_NONE, 0},
                      TiffVariant{"strips", "w", 3, 0, COMPRESSION_NONE, 0},
                      TiffVariant{"backwards", "w", 3, 0, COMPRESSION_NONE, 0, true},
                      TiffVariant{"bigTiff", "w8", 5, 0, COMPRESSION_NONE, 0},
                      TiffVariant{"bigEndian", "wb", 5, 0, COMPRESSION_NONE, 0},
                      TiffVariant{"bigEndianTiles", "wb8", 0, 16, COMPRESSION_NONE, 0},
                      TiffVariant{"tiles", "w", 0, 32, COMPRESSION_NONE, 0},
                      TiffVariant{"packBits", "w", 7, 0, COMPRESSION_PACKBITS, 0},
                      TiffVariant{"lzwBigEndian", "wb", 7, 0, COMPRESSION_LZW, 0},
                      TiffVariant{"deflateTilesPredicted", "w", 0, 16, COMPRESSION_ADOBE_DEFLATE, 3},
                      TiffVariant{"deflatePredicted", "w", 7, 0, COMPRESSION_ADOBE_DEFLATE, 3}),
    [](const auto& variant) { return std::string(variant.param.name); });

TEST_F(TiffFileRefusal, OfPagesThatAreNoFrames) {
    expect("3 values a pixel", [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    });
    expect("no grey values", [](TIFF* tiff) {
        std::vector<zt::u16> colours(256);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
        TIFFSetField(tiff, TIFFTAG_COLORMAP, colours.data(), colours.data(), colours.data());
    });
    expect("pixels of 1 bits", set(TIFFTAG_BITSPERSAMPLE, 1));
    expect("pixels of 4 bits", set(TIFFTAG_BITSPERSAMPLE, 4));
    expect("16-bit floating point", [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
    });
}

TEST_F(TiffFileRefusal, OfPagesUnlikeTheFirst) {
    expect("is 9 x 8 u8, but frame 0 is 8 x 8 u8", setNothing, set(TIFFTAG_IMAGEWIDTH, 9));
    expect("is 8 x 8 i8, but frame 0 is 8 x 8 u8", setNothing, set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT));
}
