#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "frame/FrameFile.h"

#include <tiffio.h>

#include <array>
#include <cstring>

using ombrel::FrameFile;

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
    bool backwards = false; // the last strip is first in the file
    zt::u16 fillOrder = FILLORDER_MSB2LSB;
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
        setTiffFields(tiff, width, height, 32, SAMPLEFORMAT_IEEEFP);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, variant.compression);
        TIFFSetField(tiff, TIFFTAG_FILLORDER, variant.fillOrder);
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
        setTiffFields(tiff, side, side, 8, SAMPLEFORMAT_UINT);
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

// A file with one directory, written by hand: what it claims need not be there.
template <typename T>
struct OneDirectory {
    bool bigEndian = false;
    zt::u32 width = 2;
    zt::u32 height = 1;
    zt::u32 compression = COMPRESSION_NONE;
    zt::u32 storedBytes = 2 * sizeof(T);
    zt::u32 tileSide = 0; // 0 for a strip
    std::string description = "none";

    static constexpr zt::u32 textOffset = 256;
    static constexpr zt::u32 pixelOffset = 512;

    void write(const std::string& path, const std::vector<T>& pixels) const {
        std::string bytes =
            (bigEndian ? "MM" : "II") + number<zt::u16>(42) + number<zt::u32>(8) + directory();
        bytes.resize(textOffset);
        bytes += description;
        bytes.resize(pixelOffset);
        for (const T pixel : pixels)
            bytes += number(pixel);
        writeFileText(path, bytes);
    }

    template <typename N>
    std::string number(N value) const {
        std::string bytes(sizeof value, '\0');
        std::memcpy(bytes.data(), &value, sizeof value);
        if (bigEndian)
            std::ranges::reverse(bytes);
        return bytes;
    }

private:
    std::string directory() const {
        const zt::u32 textBytes = static_cast<zt::u32>(description.size()) + 1;
        std::vector<std::array<zt::u32, 4>> entries{
            {TIFFTAG_IMAGEWIDTH, TIFF_LONG, 1, width},
            {TIFFTAG_IMAGELENGTH, TIFF_LONG, 1, height},
            {TIFFTAG_BITSPERSAMPLE, TIFF_LONG, 1, 8 * sizeof(T)},
            {TIFFTAG_COMPRESSION, TIFF_LONG, 1, compression},
            {TIFFTAG_PHOTOMETRIC, TIFF_LONG, 1, 1},
            {TIFFTAG_IMAGEDESCRIPTION, TIFF_ASCII, textBytes, textOffset}};
        if (tileSide == 0)
            entries.insert(entries.end(), {{TIFFTAG_STRIPOFFSETS, TIFF_LONG, 1, pixelOffset},
                                           {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, 1, height},
                                           {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, 1, storedBytes}});
        else
            entries.insert(entries.end(), {{TIFFTAG_TILEWIDTH, TIFF_LONG, 1, tileSide},
                                           {TIFFTAG_TILELENGTH, TIFF_LONG, 1, tileSide},
                                           {TIFFTAG_TILEOFFSETS, TIFF_LONG, 1, pixelOffset},
                                           {TIFFTAG_TILEBYTECOUNTS, TIFF_LONG, 1, storedBytes}});
        std::string bytes = number(static_cast<zt::u16>(entries.size()));
        for (const auto& [tag, type, count, value] : entries)
            bytes += number(static_cast<zt::u16>(tag)) + number(static_cast<zt::u16>(type)) + number(count) +
                     number(value);
        return bytes + number<zt::u32>(0);
    }
};

template <typename T>
void expectStack(const std::string& path, bool bigEndian) {
    OneDirectory<T> file;
    file.bigEndian = bigEndian;
    file.description = "ImageJ=1.53t\nimages=3\nslices=3\n";
    file.write(path, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(readAllFrames(path), (std::vector<double>{1, 2, 3, 4, 5, 6})) << bigEndian << sizeof(T);
}

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
                      TiffVariant{"bitsReversed", "w", 3, 0, COMPRESSION_NONE, 0, false, FILLORDER_LSB2MSB},
                      TiffVariant{"bigTiff", "w8", 5, 0, COMPRESSION_NONE, 0},
                      TiffVariant{"bigEndian", "wb", 5, 0, COMPRESSION_NONE, 0},
                      TiffVariant{"bigEndianTiles", "wb8", 0, 16, COMPRESSION_NONE, 0},
                      TiffVariant{"tiles", "w", 0, 32, COMPRESSION_NONE, 0},
                      TiffVariant{"packBits", "w", 7, 0, COMPRESSION_PACKBITS, 0},
                      TiffVariant{"lzwBigEndian", "wb", 7, 0, COMPRESSION_LZW, 0},
                      TiffVariant{"deflateTilesPredicted", "w", 0, 16, COMPRESSION_ADOBE_DEFLATE, 3},
                      TiffVariant{"deflatePredicted", "w", 7, 0, COMPRESSION_ADOBE_DEFLATE, 3}),
    [](const auto& variant) { return std::string(variant.param.name); });

TEST(TiffFileHalf, BecomesFloat) {
    const TemporaryFolder folder;
    const std::string path = folder / "half.tif";
    for (const char* mode : {"w", "wb"})
        for (const zt::u16 compression : {COMPRESSION_NONE, COMPRESSION_ADOBE_DEFLATE}) {
            TIFF* tiff = TIFFOpen(path.c_str(), mode);
            for (int page = 0; page < 2; ++page) {
                TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 3);
                TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
                TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
                TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
                TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
                TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
                std::array<zt::u16, 3> row{0x3c00, 0xc100, static_cast<zt::u16>(0x4200 + page)};
                TIFFWriteScanline(tiff, row.data(), 0);
                TIFFWriteDirectory(tiff);
            }
            TIFFClose(tiff);
            EXPECT_EQ(FrameFile::open(path)->info().pixelType, zt::DT_FLOAT);
            EXPECT_EQ(readAllFrames(path), (std::vector<double>{1, -2.5, 3, 1, -2.5, 3.001953125})) << mode;
        }
}

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
    expect("24-bit floating point", [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 24);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
    });
}

TEST_F(TiffFileRefusal, OfPagesUnlikeTheFirst) {
    expect("is 9 x 8 u8, but frame 0 is 8 x 8 u8", setNothing, set(TIFFTAG_IMAGEWIDTH, 9));
    expect("is 8 x 8 i8, but frame 0 is 8 x 8 u8", setNothing, set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT));
}

// Directories that repeat the first are not read by the library: what differs must be found all the same.
TEST_F(TiffFileRefusal, OfPagesThatDifferAfterPagesThatDoNot) {
    const auto refusal = [&](const Change& change) {
        TIFF* tiff = TIFFOpen(path.c_str(), "w");
        for (int page = 0; page < 5; ++page)
            addPage(tiff, page == 3 ? change : setNothing);
        TIFFClose(tiff);
        return errorOf([&] { FrameFile::open(path); });
    };
    EXPECT_THAT(refusal(set(TIFFTAG_IMAGEWIDTH, 9)),
                HasSubstr("frame 3 is 9 x 8 u8, but frame 0 is 8 x 8 u8"));
    EXPECT_THAT(refusal(set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT)), HasSubstr("frame 3 is 8 x 8 i8"));
    EXPECT_EQ(refusal(set(TIFFTAG_FILLORDER, FILLORDER_LSB2MSB)), "");
    EXPECT_EQ(refusal(set(TIFFTAG_COMPRESSION, COMPRESSION_LZW)), "");
    EXPECT_EQ(readAllFrames(path), std::vector<double>(5 * side * side));

    // The link of the last page, which is at the end, leads back to the first directory.
    EXPECT_EQ(refusal(setNothing), "");
    std::string bytes = fileText(path);
    bytes.replace(bytes.size() - 4, 4, bytes.substr(4, 4));
    writeFileText(path, bytes);
    EXPECT_THAT(errorOf([&] { FrameFile::open(path); }), HasSubstr("its pages lead back to an earlier one"));
}

// As ImageJ writes stacks above 4 GB: one directory, and images that follow each other without one.
TEST_F(TiffFileRefusal, OfAStackInOneDirectoryThatIsCutOff) {
    for (const bool bigEndian : {false, true}) {
        expectStack<zt::u8>(path, bigEndian);
        expectStack<zt::u16>(path, bigEndian);
        expectStack<zt::u32>(path, bigEndian);
    }
    const auto bytes = std::filesystem::file_size(path);
    std::filesystem::resize_file(path, bytes - 1);
    EXPECT_THAT(errorOf([&] { FrameFile::open(path); }),
                HasSubstr("names 3 images, but the file is truncated"));

    constexpr zt::u64 imageBytes = 1 << 20;
    OneDirectory<zt::u16> large{.bigEndian = true, .width = 1024, .height = 512, .storedBytes = imageBytes};
    large.description = "ImageJ=1.53t\nimages=4097\n"; // the last one begins above 4 GB
    large.write(path, {});
    std::filesystem::resize_file(path, large.pixelOffset + 4097 * imageBytes); // a hole but for one pixel
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(large.pixelOffset + 4096 * imageBytes + 6));
    file << large.number<zt::u16>(4711) << std::flush;
    const auto stack = FrameFile::open(path);
    ASSERT_EQ(stack->info().frames, 4097U);
    EXPECT_EQ(stack->readFrame(4096)->pixels<zt::u16>()[3], 4711);
}

TEST_F(TiffFileRefusal, OfSmallFilesThatClaimLargeImages) {
    const auto refusal = [&](const OneDirectory<zt::u8>& file) {
        file.write(path, std::vector<zt::u8>(64));
        return errorOf([&] { FrameFile::open(path); });
    };
    EXPECT_THAT(refusal({.width = 60000, .height = 60000, .compression = COMPRESSION_LZW, .storedBytes = 64}),
                HasSubstr("strip 0 has 3600000000 bytes of pixels, but is stored in 64 bytes"));
    EXPECT_THAT(refusal({.compression = COMPRESSION_ADOBE_DEFLATE, .storedBytes = 64, .tileSide = 60000}),
                HasSubstr("tile 0 has 3600000000 bytes of pixels, but is stored in 64 bytes"));
}
