// The engine where it refuses, fails or writes: what its user sees of that.
#include "EngineFixture.h"
#include "fixtures/CommaLocale.h"

#include <malloc.h>

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// An engine with a log, and a grid of perAxis^3 random images.
class EngineTest : public ::testing::Test {
protected:
    void makeGrid(int side, int perAxis) {
        std::mt19937 random(3);
        plain::Grid grid = {perAxis, perAxis, perAxis, {}};
        for (int i = 0; i < perAxis * perAxis * perAxis; ++i) {
            grid.points.push_back(
                {randomImage(side, side, random), 1234.5f * static_cast<float>(1 + i / perAxis / perAxis),
                 static_cast<float>(1 + i / perAxis % perAxis), static_cast<float>(1 + i % perAxis)});
        }
        files.writeHeap(grid, side);
        cfg = files.configuration({}, 0);
    }

    AICImage frame(int side) {
        std::mt19937 random(4);
        return engineImage(randomImage(side, side, random));
    }

    // The statuses of CompensateImage and of the searches, and how many lines they added to the log.
    std::vector<int> statuses(const AICImage& image, c_AIC::Position centre = {}) {
        std::vector<int> found;
        const auto note = [&](int status) {
            found.push_back(status);
            const std::string text = files.logText();
            lines.push_back(std::ranges::count(text, '\n'));
        };
        ImageContainer result;
        float quality = 0;
        c_AIC::Position best = centre;
        note(engine.CompensateImage(image, &result, &quality, files.prefix, false));
        note(engine.FindOptimalCompensationLinearSearch(image, &result, 1, &quality, best, files.prefix));
        note(engine.FindOptimalCompensationLookAround(image, centre, &result, &quality, files.prefix));
        note(engine.FindOptimalCompensationMosaic(image, &result, 1, &quality, files.prefix));
        EXPECT_TRUE(result.Image.empty());
        return found;
    }

    void expectRefused(const char* what, const AICImage& image, const char* reason) {
        SCOPED_TRACE(what);
        const std::string before = files.logText();
        const auto linesBefore = std::ranges::count(before, '\n');
        lines.clear();
        EXPECT_EQ(statuses(image), std::vector<int>(4, -1));
        EXPECT_EQ(lines, (std::vector<std::ptrdiff_t>{linesBefore + 1, linesBefore + 2, linesBefore + 3,
                                                      linesBefore + 4}));
        EXPECT_THAT(files.logText(), HasSubstr(reason));
    }

    std::string failureOf(AICImage image) {
        ImageContainer result;
        float quality = 0;
        try {
            engine.CompensateImage(std::move(image), &result, &quality, files.prefix, false);
        } catch (const std::out_of_range& error) {
            return error.what();
        }
        return "";
    }

    EngineFiles files;
    c_AIC::AICCfg cfg;
    std::vector<std::ptrdiff_t> lines;
    c_AIC engine;
};

TEST_F(EngineTest, RefusesWithALineWhatItWouldReadOutside) {
    EXPECT_EQ(statuses(frame(8)), std::vector<int>(4, -1)); // before any Init

    makeGrid(8, 3);
    cfg.DataFile = files.folder / "none";
    cfg.QfTileSize = 4;
    ASSERT_EQ(engine.Init(cfg, true), -1);
    expectRefused("failed Init", frame(8), "c_AIC::FindOptimalCompensationMosaic no calibration loaded\n");

    const auto restart = [&] {
        engine.LogStream.close(); // else it would get no further line
        ASSERT_EQ(engine.Init(cfg, true), 0);
    };
    cfg.DataFile = files.heapPath;
    cfg.Kernel.clear();
    restart();
    expectRefused("empty kernel", frame(8), "LookAround kernel has too few values for its window\n");

    cfg.Kernel = c_AIC::AICCfg().Kernel;
    restart();
    AICImage remainder = frame(8);
    remainder.push_back(1);
    remainder.reshape_r(8);
    ASSERT_EQ(remainder.cols(), 8);
    expectRefused("more pixels", remainder, "LinearSearch number of pixels does not match image size\n");
    expectRefused("product of 2^32 + 2^17 + 1", AICImage(65537, 65537), "number of pixels does not match");
    EXPECT_THROW(engine.PreProcess(AICImage(65537, 65537), &remainder, nullptr), std::out_of_range);
    EXPECT_EQ(engine.QualityFunctionPreProcess(AICImage(65537, 65537), &remainder), -1);

    cfg.CustomMaskFile = files.writeMask("mask.bin", plain::Image(7, 8, 1));
    restart();
    expectRefused("mask of another size", frame(8), "mask size does not match image size\n");
}

TEST_F(EngineTest, TakesAPositionOutsideTheGridAsNoPosition) {
    makeGrid(8, 3);
    ASSERT_EQ(engine.Init(cfg, true), 0);
    ImageContainer result;
    float quality = 0;
    for (const auto centre : {c_AIC::Position(), engine.CalibrationImages->Images.end()})
        EXPECT_EQ(engine.FindOptimalCompensationLookAround(frame(8), centre, &result, &quality, ""), -1);
}

TEST_F(EngineTest, SaysWhyAFrameCannotBeJudged) {
    makeGrid(8, 3);
    cfg.QfTileSize = 4;
    AICImage flat;
    flat.ones(8, 8);
    AICImage spoilt = frame(8);
    spoilt.at(3, 3, notANumber);
    for (const bool preProcesses : {true, false}) {
        cfg.PPEnabled = preProcesses;
        ASSERT_EQ(engine.Init(cfg, true), 0);
        EXPECT_THAT(failureOf(AICImage(8, 8)), HasSubstr("frame is black")) << preProcesses;
        EXPECT_THAT(failureOf(spoilt), HasSubstr("frame has pixels that are NaN")) << preProcesses;
        EXPECT_THAT(failureOf(flat), HasSubstr(preProcesses ? "PPEnabled" : "")) << preProcesses;
    }
    cfg.CustomMaskFile = files.writeMask("mask.bin", plain::Image(8, 8, 0));
    ASSERT_EQ(engine.Init(cfg, true), 0);
    EXPECT_THAT(failureOf(frame(8)), HasSubstr("CustomMaskFile"));
    cfg.CustomMaskFile = files.writeMask("mask.bin", plain::Image(8, 8, notANumber));
    ASSERT_EQ(engine.Init(cfg, true), 0);
    EXPECT_THAT(failureOf(frame(8)), HasSubstr("CustomMaskFile"));
}

TEST_F(EngineTest, WritesNumbersWithAPointUnderEveryLocale) {
    makeGrid(8, 3);
    cfg.LogQualityValuesFile = "values.txt";
    cfg.DumpCompensationImages = true;
    cfg.QfTileSize = 4;
    const CommaLocale comma;
    c_AIC german; // its streams take the global locale when they are made
    ASSERT_EQ(german.Init(cfg, true), 0);
    ImageContainer result;
    float quality = 0;
    ASSERT_EQ(german.CompensateImage(frame(8), &result, &quality, files.prefix, false), 0);
    EXPECT_THAT(files.text("values.txt"), HasSubstr("[ 1234.5, 1, 1, "));
    for (const char* name : {"cs_v1234.5_t1.0_e1.0.txt", "ff_v2469.0_t3.0_e2.0.txt"})
        EXPECT_THAT(files.text(name), HasSubstr("0.")) << name;
    if (!comma.inC)
        GTEST_SKIP() << "localedef cannot make de_DE here: only C++ streams were tried";
}

// The text is that of a stream with the default format, for every kind of number.
TEST_F(EngineTest, LogsQualityValuesLikeAStream) {
    using Limits = std::numeric_limits<float>;
    std::vector<float> numbers = {0.0f,      -0.0f,      0.1f,  1.5f,          123456.0f,
                                  999999.5f, 1234567.0f, 1e-4f, 9.999995e-5f,  1e20f,
                                  0x1p24f,   0.5000005f, -2.5f, Limits::min(), Limits::max(),
                                  INFINITY,  -INFINITY,  NAN,   -notANumber,   Limits::denorm_min()};
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i)
        numbers.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    makeGrid(8, 3);
    cfg.LogQualityValuesFile = "values.txt";
    ASSERT_EQ(engine.Init(cfg, true), 0);
    c_CalibrationImages::ImageList points(1);
    std::ostringstream expected;
    for (std::size_t i = 0; i + 3 < numbers.size(); ++i) {
        points[0].V = numbers[i];
        points[0].T = numbers[i + 1];
        points[0].E = numbers[i + 2];
        bool opened = false;
        ASSERT_EQ(engine.QFValuesOutput(points.begin(), numbers[i + 3], files.prefix, false, &opened), 0);
        expected << "[ " << numbers[i] << ", " << numbers[i + 1] << ", " << numbers[i + 2] << ", "
                 << numbers[i + 3] << " ]\n";
    }
    EXPECT_EQ(files.text("values.txt"), expected.str());
}

// Peak memory in bytes of some work, without what was in use before; 0 where the system does not tell.
template <typename Work>
double peakMemory(Work work) {
    const auto kilobytes = [](const std::string& field) {
        const std::string status = fileText("/proc/self/status");
        const std::size_t at = status.find(field);
        return at == status.npos ? 0 : std::atof(status.c_str() + at + field.size());
    };
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5; // the peak begins again
    const double before = kilobytes("VmHWM:");
    work();
    return (kilobytes("VmHWM:") - before) * 1024;
}

TEST_F(EngineTest, NeedsMemoryForTheGridAndAtMostOneOrderedCopy) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer keeps freed memory";
#endif
    constexpr int side = 256;
    makeGrid(side, 4);
    const double gridBytes = 64.0 * side * side * sizeof(float);
    const auto grids = [&](std::initializer_list<int> tiles) {
        c_AIC fresh;
        return peakMemory([&] {
                   for (const int tile : tiles) {
                       cfg.QfTileSize = tile;
                       ASSERT_EQ(fresh.Init(cfg, true), 0);
                   }
               }) /
               gridBytes;
    };
    const double once = grids({16});
    if (once < 1)
        GTEST_SKIP() << "the system does not tell peak memory";
    EXPECT_LT(once, 2.4);
    EXPECT_LT(grids({16, 8}), 2.4); // the first is released before the second is loaded
    EXPECT_LT(grids({side}), 1.6);
    EXPECT_LT(grids({side / 2 + 1}), 1.6);
    EXPECT_LT(grids({0}), 1.4);
}

} // namespace
