#include "Hdf5Fixture.h"

#include <cstring>
#include <numeric>

using ombrel::FramePtr;

namespace {

// Counts what goes through it, and changes nothing.
constexpr H5Z_filter_t countingFilter = 300;
int decodedChunks = 0;

std::size_t countDecoding(unsigned flags, std::size_t, const unsigned*, std::size_t bytes, std::size_t*,
                          void**) {
    decodedChunks += flags & H5Z_FLAG_REVERSE ? 1 : 0;
    return bytes;
}

void registerCountingFilter() {
    const H5Z_class2_t filter{H5Z_CLASS_T_VERS, countingFilter, 1,       1,
                              "counting",       nullptr,        nullptr, countDecoding};
    H5Zregister(&filter);
    decodedChunks = 0;
}

class Hdf5File : public Hdf5Fixture {
protected:
    static std::vector<zt::u16> ramp(std::size_t count) {
        std::vector<zt::u16> values(count);
        std::iota(values.begin(), values.end(), zt::u16{0});
        return values;
    }

    // Frames of 7 x 5 in that storage are read right, in any order.
    void expectRead(const Hdf5Builder::Storage& storage, hid_t storedType = 0, hsize_t userBlock = 0) {
        const std::vector<zt::u16> values = ramp(6 * 5 * 7);
        {
            Hdf5Builder file(path, userBlock);
            file.data<zt::u16>("/exchange/data", {6, 5, 7}, values, storage, storedType);
        }
        const auto file = FrameFile::open(path);
        for (const zt::u32 frame : {5U, 0U, 3U, 3U, 1U, 2U, 4U}) {
            const FramePtr read = file->readFrame(frame);
            EXPECT_TRUE(
                std::ranges::equal(read->pixels<zt::u16>(), std::span(values).subspan(frame * 35, 35)))
                << "frame " << frame;
        }
    }
};

// Of that extent, and decoded by the filter that counts.
Hdf5Builder::Storage counted(std::vector<hsize_t> chunk) {
    return [=](hid_t creation) {
        chunked(chunk)(creation);
        H5Pset_filter(creation, countingFilter, H5Z_FLAG_MANDATORY, 0, nullptr);
    };
}

} // namespace

TEST_F(Hdf5File, ReadsEveryStorage) {
    expectRead({});
    expectRead({}, 0, 1024);
    expectRead({}, H5T_STD_U16BE);
    expectRead({}, H5T_STD_U16BE, 512);
    expectRead([](hid_t creation) { H5Pset_layout(creation, H5D_COMPACT); });
    expectRead(chunked({1, 5, 7}));
    expectRead(chunked({1, 5, 7}), H5T_STD_U16BE);
    expectRead(chunked({1, 5, 7}, 6));
    expectRead(chunked({4, 2, 3}));
    expectRead(chunked({4, 2, 3}, 6), H5T_STD_U16BE, 2048);
    expectRead([this](hid_t creation) {
        H5Pset_external(creation, (folder / "pixels.raw").c_str(), 0, H5F_UNLIMITED);
    });
}

TEST_F(Hdf5File, ReadsFramesThatWereNeverWrittenAsZeros) {
    for (const auto& storage : {Hdf5Builder::Storage{}, chunked({1, 5, 7}), chunked({2, 5, 7}, 1)}) {
        Hdf5Builder(path).data<zt::u16>("/exchange/data", {6, 5, 7}, {}, storage);
        const FramePtr read = FrameFile::open(path)->readFrame(5);
        EXPECT_EQ(std::ranges::count(read->pixels<zt::u16>(), 0), 35);
    }
}

TEST_F(Hdf5File, RefusesARawFileThatHasBeenCutOff) {
    const std::string raw = folder / "pixels.raw";
    Hdf5Builder(path).data<zt::u16>("/exchange/data", {6, 5, 7}, ramp(6 * 5 * 7),
                                    [&](hid_t creation) { H5Pset_external(creation, raw.c_str(), 0, 420); });
    EXPECT_EQ(FrameFile::open(path)->info().frames, 6U);
    std::filesystem::resize_file(raw, 419);
    EXPECT_THAT(refusal(), HasSubstr("is truncated (419 of 420 bytes)"));
}

TEST_F(Hdf5File, DecodesAChunkOfSeveralFramesOnce) {
    registerCountingFilter();
    // The four chunks of a frame are more than the library would keep.
    Hdf5Builder(path).data<zt::u16>("/exchange/data", {8, 512, 512}, ramp(8 * 512 * 512),
                                    counted({4, 256, 256}));
    firstPixels();
    EXPECT_EQ(decodedChunks, 8);
}

TEST_F(Hdf5File, TellsAtTheStartThatAFilterIsNotThere) {
    registerCountingFilter();
    Hdf5Builder(path).data<zt::u16>("/exchange/data", {1, 2, 2}, ramp(4), counted({1, 2, 2}));
    H5Zunregister(countingFilter);
    EXPECT_THAT(refusal(), AllOf(HasSubstr("HDF5 filter 300 (counting), which is not installed"),
                                 HasSubstr("hdf5-filter-plugin")));
}

// Bitshuffle with LZ4 inside, as detectors write it.
TEST_F(Hdf5File, ReadsBitshuffleOnceItIsInstalled) {
    constexpr H5Z_filter_t bitshuffle = 32008;
    if (H5Zfilter_avail(bitshuffle) <= 0)
        GTEST_SKIP() << "the package bitshuffle is not installed";
    expectRead([](hid_t creation) {
        const hsize_t chunk[] = {1, 5, 7};
        const unsigned values[] = {0, 2}; // the default block size; LZ4
        H5Pset_chunk(creation, 3, chunk);
        H5Pset_filter(creation, bitshuffle, H5Z_FLAG_MANDATORY, 2, values);
    });
}

// A file that claims to end where it does: only the dataset's place tells that pixels are missing.
TEST_F(Hdf5File, FindsAContiguousDatasetThatIsCutOff) {
    Hdf5Builder(path).data<zt::u16>("/exchange/data", {4, 100, 100}, ramp(40000));
    constexpr std::size_t endOfFileField = 40; // of the superblock
    std::string bytes = fileText(path);
    const zt::u64 end = bytes.size() - 1000;
    std::memcpy(bytes.data() + endOfFileField, &end, sizeof end);
    writeFileText(path, bytes.substr(0, end));
    EXPECT_THAT(refusal(), HasSubstr("truncated or damaged"));
}

TEST_F(Hdf5File, TakesTheFramesOfTheRole) {
    {
        Hdf5Builder file(path);
        file.group("/entry/camera");
        file.attribute("/entry/camera", "NX_class", "NXdetector");
        file.data<zt::u16>("/entry/camera/data", {6, 1, 1}, {10, 11, 12, 13, 14, 15});
        file.data<zt::i32>("/entry/camera/image_key", {6}, {1, 0, 2, 0, 1, 3});
        file.hardLink("/entry/plot/data", "/entry/camera/data");
        file.data<double>("/entry/camera/count_time", {6}, {1, 2, 3, 4, 5, 6});
    }
    // By the plot's path, too, the marks are those of the detector.
    for (const std::string dataset : {"", "::/entry/plot/data"}) {
        const auto sample = FrameFile::open(path + dataset, FrameRole::Sample);
        const auto flat = FrameFile::open(path + dataset, FrameRole::Flat);
        const auto all = FrameFile::open(path + dataset);
        EXPECT_THAT(firstPixels(dataset, FrameRole::Sample), ElementsAre(11, 13));
        EXPECT_THAT(firstPixels(dataset, FrameRole::Flat), ElementsAre(10, 14));
        EXPECT_THAT(firstPixels(dataset), ElementsAre(10, 11, 12, 13, 14, 15));
        EXPECT_EQ(sample->info().acqTime, 2);
        EXPECT_EQ(flat->readFrame(1)->acqTime(), 5);
        ASSERT_TRUE(all->info().kinds);
        EXPECT_EQ(all->info().kinds->sample, 2U);
        EXPECT_EQ(all->info().kinds->flat, 2U);
        EXPECT_EQ(all->info().kinds->dark, 1U);
    }
}

TEST_F(Hdf5File, RefusesARoleThatNoFrameHas) {
    {
        Hdf5Builder file(path);
        file.images("/entry/data", 2, 1);
        file.data<zt::u8>("/entry/image_key", {2}, {0, 0});
    }
    EXPECT_EQ(FrameFile::open(path, FrameRole::Sample)->info().frames, 2U);
    EXPECT_THAT(refusal("", FrameRole::Flat), HasSubstr("no frame is marked as a flat field (image_key 1)"));
}

TEST_F(Hdf5File, ReadsTheAcquisitionTime) {
    const auto acqTime = [&](const std::vector<double>& times, const std::string& unit) {
        {
            Hdf5Builder file(path);
            file.images("/entry/data", 3, 1);
            file.data<double>("/entry/count_time", {times.size()}, times);
            if (!unit.empty())
                file.attribute("/entry/count_time", "units", unit);
        }
        return FrameFile::open(path)->readFrame(2)->acqTime();
    };
    EXPECT_EQ(acqTime({0.25}, ""), 0.25);
    EXPECT_EQ(acqTime({0.25}, "s"), 0.25);
    EXPECT_EQ(acqTime({250}, "ms"), 0.25);
    EXPECT_EQ(acqTime({250}, "millisecond"), 0.25);
    EXPECT_EQ(acqTime({2}, " minutes "), 120);
    EXPECT_EQ(acqTime({5e5}, "\xc2\xb5s"), 0.5);
    for (const char* unit : {"volts", "Hz", "counts of ms", "seconds since 1970-01-01"})
        EXPECT_THAT(errorOf([&] { acqTime({1}, unit); }),
                    HasSubstr("count_time): \"" + std::string(unit) + "\" is not a unit of time"));
    EXPECT_EQ(acqTime({1, 2, 4}, ""), 4);
    EXPECT_EQ(acqTime({1, 2}, ""), 0) << "of another length than the frames";
    EXPECT_EQ(acqTime({-1}, ""), 0);
    EXPECT_EQ(acqTime({std::numeric_limits<double>::quiet_NaN()}, ""), 0);
}

TEST_F(Hdf5File, SumsSubFrames) {
    {
        Hdf5Builder file(path);
        file.data<zt::u16>("/exchange/data", {2, 3, 1, 2}, {1, 2, 3, 4, 65535, 65535, 7, 8, 9, 10, 11, 12});
        file.data<float>("/exchange/count_time", {1}, {0.5F});
    }
    const auto file = FrameFile::open(path);
    EXPECT_EQ(file->info().frames, 2U);
    EXPECT_EQ(file->info().subFrames, 3U);
    const FramePtr frame = file->readFrame(0);
    EXPECT_THAT(frame->pixels<double>(), ElementsAre(1 + 3 + 65535, 2 + 4 + 65535));
    ASSERT_EQ(frame->subFrameCount(), 3);
    EXPECT_EQ(frame->acqTime(), 0.5);
    EXPECT_EQ(frame->subFrames()[2]->frameDataType(), zt::DT_U16);
    EXPECT_EQ(frame->subFrames()[2]->acqTime(), 0.5);
}
