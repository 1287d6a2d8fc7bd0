#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "frame/PixelType.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <random>
#include <zlib.h>

using ombrel::Error;
using ombrel::FrameFile;

namespace {

template <typename T>
std::string bytesOf(const std::vector<T>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

std::string gzipped(const std::string& text) {
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

// An image as detectors write it: the header padded to 512 bytes.
std::string edfImage(const std::string& keys, const std::string& pixels) {
    std::string header = "{\nHeaderID = EH:000001:000000:000000 ;\n" + keys + " ;\n";
    header.resize((header.size() + 2 + 511) / 512 * 512 - 2, ' ');
    return header + "}\n" + pixels;
}

const std::string edfKeys = "Dim_1 = 3 ; Dim_2 = 2 ; DataType = SignedInteger ; ByteOrder = LowByteFirst";

std::string edfOf(const std::vector<zt::i32>& pixels, double seconds) {
    return edfImage(edfKeys + " ; count_time = " + std::to_string(seconds), bytesOf(pixels));
}

std::string byteOffsets(const std::vector<zt::i32>& pixels) {
    std::string stored;
    const auto add = [&]<typename T>(T value) {
        stored.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    zt::i64 before = 0;
    for (const zt::i32 pixel : pixels) {
        const zt::i64 delta = pixel - before;
        before = pixel;
        if (std::abs(delta) < 128) {
            add(static_cast<zt::i8>(delta));
            continue;
        }
        add(zt::i8{-128});
        if (std::abs(delta) < 32768) {
            add(static_cast<zt::i16>(delta));
            continue;
        }
        add(zt::i16{-32768});
        if (std::abs(delta) <= std::numeric_limits<zt::i32>::max()) {
            add(static_cast<zt::i32>(delta));
            continue;
        }
        add(std::numeric_limits<zt::i32>::min());
        add(delta);
    }
    return stored;
}

// As photon-counting detectors write it. `more` are lines of the header of the pixels.
std::string cbfOf(const std::string& stored, const std::string& conversions, const std::string& more = "") {
    return "###CBF: VERSION 1.5\r\n\r\ndata_image\r\n\r\n_array_data.header_contents\r\n;\r\n"
           "# Exposure_time 0.0970000 s\r\n;\r\n\r\n_array_data.data\r\n;\r\n"
           "--CIF-BINARY-FORMAT-SECTION--\r\nContent-Type: application/octet-stream;\r\n     conversions=\"" +
           conversions +
           "\"\r\nContent-Transfer-Encoding: BINARY\r\nX-Binary-Size: " + std::to_string(stored.size()) +
           "\r\nX-Binary-ID: 1\r\nX-Binary-Element-Type: \"signed 32-bit integer\"\r\n"
           "X-Binary-Element-Byte-Order: LITTLE_ENDIAN\r\n" +
           more +
           "X-Binary-Size-Fastest-Dimension: 3\r\nX-Binary-Size-Second-Dimension: 2\r\n"
           "X-Binary-Size-Padding: 4095\r\n\r\n\x0c\x1a\x04\xd5" +
           stored + std::string(100, '\0') + "\r\n--CIF-BINARY-FORMAT-SECTION----\r\n;\r\n";
}

const std::string offsetConversion = "x-CBF_BYTE_OFFSET";

class FormatsTest : public ::testing::Test {
protected:
    std::string file(const std::string& content) const {
        std::filesystem::remove(folder / "frames"); // a file that is written over is flushed to the disk
        writeFileText(folder / "frames", content);
        return folder / "frames";
    }

    void expectRefusal(const std::string& content, const std::string& words) const {
        const std::string path = file(content);
        const std::string error = errorOf([&] {
            const auto frames = FrameFile::open(path);
            for (zt::u32 i = 0; i < frames->info().frames; ++i)
                frames->readFrame(i);
        });
        EXPECT_THAT(error, AllOf(StartsWith(path), HasSubstr(words), Not(HasSubstr("\n"))));
    }

    const TemporaryFolder folder;
    const std::vector<zt::i32> hostile{
        0, -2, std::numeric_limits<zt::i32>::max(), std::numeric_limits<zt::i32>::min(), -40000, 200};
};

} // namespace

// What is only read is no format of outputs.
TEST(FrameFileNames, CoverWhatIsReadAndWritten) {
    EXPECT_EQ(FrameFile::namePatterns(), "*.h5 *.hdf5 *.nxs *.tif *.tiff *.edf *.edf.gz *.cbf *.cbf.gz");
    EXPECT_TRUE(ombrel::FrameOutput::isOutputPath("out.NXS"));
    for (const char* name : {"out.edf", "out.cbf.gz", ".h5", "h5"})
        EXPECT_FALSE(ombrel::FrameOutput::isOutputPath(name)) << name;
}

TEST_F(FormatsTest, ReadsImagesOfEdfInOrder) {
    const std::vector<zt::i32> second{1, 2, 3, 4, 5, 6};
    const std::string both = edfOf(hostile, 0.5) + edfOf(second, 2);
    std::vector<double> expected(hostile.begin(), hostile.end());
    expected.insert(expected.end(), second.begin(), second.end());
    for (const std::string& content :
         {both, gzipped(both), gzipped(edfOf(hostile, 0.5)) + gzipped(edfOf(second, 2))}) {
        const auto frames = FrameFile::open(file(content));
        EXPECT_EQ(frames->info().format, "EDF");
        EXPECT_EQ(frames->info().frames, 2U);
        EXPECT_EQ(frames->acqTime(0), 0.5);
        EXPECT_EQ(frames->acqTime(1), 2);
        EXPECT_EQ(frames->readFrame(1)->pixels<zt::i32>()[5], 6);
        EXPECT_EQ(readAllFrames(file(content)), expected);
    }
}

// The compressed file is overwritten in place with damage, and then with what it held.
TEST_F(FormatsTest, ReadsTheRightPixelsAfterAFailure) {
    std::mt19937 random(1);
    std::vector<zt::i32> noise(100'000);
    std::ranges::generate(noise, [&] { return static_cast<zt::i32>(random()); });
    const std::string keys =
        "Dim_1 = 1000 ; Dim_2 = 100 ; DataType = SignedInteger ; ByteOrder = LowByteFirst";
    const std::string packed = gzipped(edfImage(keys, bytesOf(noise)) + edfImage(keys, bytesOf(noise)));
    const std::string path = file(packed);
    const auto overwrite = [&](const std::string& content) {
        std::fstream(path, std::ios::in | std::ios::out | std::ios::binary) << content;
    };
    const auto frames = FrameFile::open(path);
    std::string damaged = packed;
    std::fill(damaged.begin() + 200'000, damaged.begin() + 300'000, '\xff');
    overwrite(damaged);
    EXPECT_THAT(errorOf([&] { frames->readFrame(0); }), HasSubstr("frame 0"));
    overwrite(packed);
    for (const zt::u32 frame : {1, 0})
        EXPECT_TRUE(std::ranges::equal(frames->readFrame(frame)->pixels<zt::i32>(), noise)) << frame;
}

// Pixels that are stored as they are need no order; the others are unpacked, decoded or checked.
TEST_F(FormatsTest, KnowsWhatIsReadInAnyOrder) {
    const auto inAnyOrder = [&](const std::string& content) {
        return FrameFile::open(file(content + content))->info().inAnyOrder;
    };
    const std::string edf = edfOf(hostile, 1);
    const std::string plain = cbfOf(bytesOf(hostile), "x-CBF_NONE");
    EXPECT_TRUE(inAnyOrder(edf));
    EXPECT_TRUE(inAnyOrder(plain));
    EXPECT_FALSE(inAnyOrder(gzipped(edf)));
    EXPECT_FALSE(inAnyOrder(gzipped(plain)));
    EXPECT_FALSE(
        inAnyOrder(edfImage("Dim_1 = 1 ; DataType = UnsignedShort ; ByteOrder = HighByteFirst", "ab")));
    EXPECT_FALSE(inAnyOrder(cbfOf(byteOffsets(hostile), offsetConversion)));
    EXPECT_FALSE(inAnyOrder(cbfOf(bytesOf(hostile), "x-CBF_NONE", "Content-MD5: abc\r\n")));
}

TEST_F(FormatsTest, ReadsBothByteOrdersOfEdf) {
    const std::string keys = "Dim_1 = 2 ; Dim_2 = 1 ; DataType = UnsignedShort ; ByteOrder = ";
    EXPECT_THAT(readAllFrames(file(edfImage(keys + "HighByteFirst", {"\1\2\3\4", 4}))),
                ElementsAre(0x102, 0x304));
    EXPECT_THAT(readAllFrames(file(edfImage(keys + "LowByteFirst", {"\1\2\3\4", 4}))),
                ElementsAre(0x201, 0x403));
}

TEST_F(FormatsTest, ReadsSectionsOfCbf) {
    const std::vector<double> expected(hostile.begin(), hostile.end());
    const std::string packed = cbfOf(byteOffsets(hostile), offsetConversion);
    for (const std::string& content : {packed, cbfOf(bytesOf(hostile), "x-CBF_NONE"), gzipped(packed)}) {
        const auto frames = FrameFile::open(file(content));
        EXPECT_EQ(frames->info().format, "CBF");
        EXPECT_EQ(frames->info().width, 3U);
        EXPECT_EQ(frames->acqTime(0), 0.097);
        EXPECT_EQ(readAllFrames(file(content)), expected);
    }
}

// The text before a section shifts its marks across the pieces in which a file is searched.
TEST_F(FormatsTest, FindsSectionsAtAnyPlace) {
    const std::string section = cbfOf(byteOffsets(hostile), offsetConversion);
    std::vector<double> expected(hostile.begin(), hostile.end());
    expected.insert(expected.end(), hostile.begin(), hostile.end());
    for (std::size_t shift = 0; shift < 1100; shift += shift == 0 ? 200 : 1) {
        const std::string both = section + std::string(shift, ' ') + section;
        ASSERT_EQ(readAllFrames(file(shift % 2 ? gzipped(both) : both)), expected) << shift;
    }
}

TEST_F(FormatsTest, ComparesTheChecksumOfCbf) {
    const std::string stored = byteOffsets(hostile);
    const auto sum = QCryptographicHash::hash(QByteArray::fromStdString(stored), QCryptographicHash::Md5);
    const std::string line = "Content-MD5: " + sum.toBase64().toStdString() + "\r\n";
    EXPECT_NO_THROW(readAllFrames(file(cbfOf(stored, offsetConversion, line))));
    expectRefusal(cbfOf(byteOffsets({1, 2, 3, 4, 5, 6}), offsetConversion, line), "checksum");
}

// Sizes in headers are compared with the file before memory is asked for.
TEST_F(FormatsTest, RefusesWhatItCannotRead) {
    const std::string pixels = bytesOf(hostile);
    expectRefusal(edfImage("Dim_1 = 4000000000 ; Dim_2 = 4000000000 ; DataType = UnsignedByte", pixels),
                  "claims");
    expectRefusal(edfImage("Dim_1 = 0 ; Dim_2 = 2 ; DataType = UnsignedByte", pixels), "claims");
    expectRefusal(edfImage(edfKeys + " ; Size = 18446744073709551615", pixels), "cannot have");
    expectRefusal(edfImage(edfKeys + " ; Compression = GZIP", pixels), "compressed");
    expectRefusal(edfImage("Dim_1 = 3 ; Dim_2 = 2 ; DataType = UnsignedShort", pixels), "order of bytes");
    expectRefusal(edfImage("Dim_1 = 3 ; Dim_2 = 2 ; DataType = Complex", pixels), "unknown type");
    expectRefusal(edfImage("Dim_1 = 3x ; DataType = UnsignedByte", pixels), "not a valid number");
    expectRefusal(edfOf(hostile, 1) + "rest", "no header begins");
    expectRefusal(edfOf(hostile, 1) + edfImage("Dim_1 = 3 ; Dim_2 = 1 ; DataType = UnsignedByte", "abc"),
                  "must be alike");
    expectRefusal("{ Dim_1 = 3 ;" + std::string(std::size_t{2} << 20, ' '), "has no end");
    expectRefusal(cbfOf(std::string(5, '\0'), offsetConversion), "cannot have");
    expectRefusal(cbfOf(std::string(6, '\x80'), offsetConversion), "end early");
    expectRefusal(cbfOf(pixels, "x-CBF_PACKED"), "x-CBF_PACKED");
    expectRefusal("###CBF: VERSION 1.5\r\n", "has no pixels");
    expectRefusal(cbfOf(pixels, "x-CBF_NONE", std::string(std::size_t{65} << 10, ' ') + "\r\n"),
                  "longer than 65536 bytes");
    expectRefusal("###CBF: VERSION 1.5\r\n" + std::string(std::size_t{5} << 20, ' '), "no pixels follow");
}

// Every cut and many flipped bits: an error of one line, or frames; never anything else.
TEST_F(FormatsTest, SurvivesDamage) {
    const std::string cbf = cbfOf(byteOffsets(hostile), offsetConversion);
    const std::string edf = edfOf(hostile, 1) + edfOf(hostile, 1);
    std::mt19937 random(1);
    for (const std::string& whole : {edf, cbf, gzipped(edf), gzipped(cbf)}) {
        const auto survives = [&](const std::string& content) {
            const std::string error = errorOf([&] { readAllFrames(file(content)); });
            ASSERT_THAT(error, Not(HasSubstr("\n")));
        };
        for (std::size_t size = 1; size < whole.size(); ++size)
            survives(whole.substr(0, size));
        for (int i = 0; i < 1000; ++i) {
            std::string damaged = whole;
            for (unsigned flips = 0; flips < 1 + random() % 3; ++flips)
                damaged[random() % damaged.size()] ^= static_cast<char>(1U << random() % 8);
            survives(damaged);
        }
    }
    EXPECT_THROW(FrameFile::open(file(edf.substr(0, edf.size() - 1))), Error);
    const std::string packed = gzipped(edf);
    EXPECT_THROW(readAllFrames(file(packed.substr(0, packed.size() - 1))), Error);
}

TEST(FloatOfHalf, IsExact) {
    EXPECT_EQ(ombrel::floatOfHalf(0x3c00), 1.0F);
    EXPECT_EQ(ombrel::floatOfHalf(0xc000), -2.0F);
    EXPECT_EQ(ombrel::floatOfHalf(0x7bff), 65504.0F);
    EXPECT_EQ(ombrel::floatOfHalf(0x0001), 0x1p-24F);
    EXPECT_EQ(ombrel::floatOfHalf(0x03ff), 0x1.ff8p-15F);
    EXPECT_EQ(ombrel::floatOfHalf(0xfc00), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(ombrel::floatOfHalf(0x7e01)));
    EXPECT_TRUE(std::signbit(ombrel::floatOfHalf(0x8000)));
}
