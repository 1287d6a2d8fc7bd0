// What is found in a set of flat fields, and what is not.
#include "inspection/FlatInspection.h"

#include "fixtures/Testing.h"
#include "inspection/InspectionPage.h"
#include "inspection/TileStructure.h"

#include <random>

using namespace ombrel;

namespace {

constexpr zt::u32 flatSide = 64;
constexpr zt::u16 flatCounts = 1000;

// Flat fields with photon statistics and a fixed pattern.
class Flats {
public:
    explicit Flats(std::size_t count) {
        std::mt19937_64 random(5);
        for (std::size_t k = 0; k < count; ++k) {
            std::vector<zt::u16> pixels;
            for (zt::u32 i = 0; i < flatSide * flatSide; ++i)
                pixels.push_back(
                    static_cast<zt::u16>(std::poisson_distribution<int>(flatCounts + i % 97)(random)));
            frames.push_back(std::move(pixels));
        }
    }

    std::vector<zt::u16>& operator[](std::size_t frame) { return frames[frame]; }

    void scale(std::size_t frame, double factor, zt::u32 size = flatSide) {
        for (zt::u32 y = 0; y < size; ++y)
            for (zt::u32 x = 0; x < size; ++x)
                frames[frame][y * flatSide + x] =
                    static_cast<zt::u16>(frames[frame][y * flatSide + x] * factor);
    }

    InspectionReport inspect(const InspectionLimits& limits = {}, bool areDarks = false) const {
        FieldSet set{.name = "flat fields",
                     .areDarks = areDarks,
                     .width = flatSide,
                     .height = flatSide,
                     .places = {},
                     .read = [this](std::size_t field) {
                         FramePtr frame = Frame::create(flatSide, flatSide, zt::DT_U16);
                         std::ranges::copy(frames[field], frame->pixels<zt::u16>().begin());
                         return frame;
                     }};
        for (std::size_t k = 0; k < frames.size(); ++k)
            set.places.push_back({"flats.h5", static_cast<zt::u32>(k)});
        return inspectFields(set, limits);
    }

private:
    std::vector<std::vector<zt::u16>> frames;
};

// The frames that are not good, with their verdicts.
std::vector<std::string> faultsOf(const InspectionReport& report) {
    std::vector<std::string> faults;
    for (const FieldVerdict& field : report.fields)
        if (field.verdict != Verdict::Good)
            faults.push_back(std::to_string(field.place.frame) + " " +
                             std::string(verdictName(field.verdict)));
    return faults;
}

} // namespace

TEST(FlatInspection, NamesEachFaultOfAFrameAndSparesTheOthers) {
    Flats flats(12);
    flats.scale(1, 0);
    flats.scale(3, 0.5);
    flats.scale(5, 0.97, 16);
    std::ranges::fill(flats[7] | std::views::take(100), 65535);
    flats[9] = flats[8];
    const InspectionReport report = flats.inspect();
    EXPECT_THAT(faultsOf(report),
                ElementsAre("1 dark", "3 level", "5 structure", "7 saturated", "9 duplicate"));
    EXPECT_THAT(report.fields[9].reason, HasSubstr("flats.h5, frame 8"));
    const Region& tile = report.fields[5].worstTile;
    EXPECT_LT(tile.x + tile.width, 17u);
    EXPECT_LT(tile.y + tile.height, 17u);
    EXPECT_EQ(report.noise, 1);
}

TEST(FlatInspection, FindsTheSameObjectInSeveralFramesAndSparesATiltAndSinglePixels) {
    Flats flats(12);
    for (const std::size_t frame : {2, 3, 4, 5})
        flats.scale(frame, 0.8, 12);
    for (zt::u32 i = 0; i < flatSide * flatSide; ++i)
        flats[7][i] = static_cast<zt::u16>(flats[7][i] * (1 + 0.001 * (i % flatSide)));
    flats[8][20 * flatSide + 20] = 60000;
    EXPECT_THAT(faultsOf(flats.inspect()),
                ElementsAre("2 structure", "3 structure", "4 structure", "5 structure"));
}

TEST(FlatInspection, MeasuresNoiseThatIsNotPhotonStatistics) {
    Flats flats(10);
    for (std::size_t k = 0; k < 10; ++k)
        flats.scale(k, 9);
    const InspectionReport report = flats.inspect();
    EXPECT_THAT(faultsOf(report), IsEmpty());
    EXPECT_NEAR(report.noise, 3, 0.5);
}

TEST(FlatInspection, JudgesFewFramesByLevelAndRepeatsAlone) {
    Flats three(3);
    three.scale(1, 0.8, 16);
    EXPECT_THAT(faultsOf(three.inspect()), IsEmpty());
    EXPECT_THAT(three.inspect().unjudged, HasSubstr("4 frames"));
    three.scale(1, 0.5);
    three[2] = three[0];
    EXPECT_THAT(faultsOf(three.inspect()), ElementsAre("1 level", "2 duplicate"));
    Flats black(1);
    black.scale(0, 0);
    EXPECT_THAT(faultsOf(black.inspect()), ElementsAre("0 dark"));
    EXPECT_THAT(faultsOf(Flats(1).inspect()), IsEmpty());
}

TEST(FlatInspection, JudgesDarkFieldsThatAreZeroOrLit) {
    Flats darks(6);
    for (std::size_t k = 0; k < 6; ++k)
        darks.scale(k, 0);
    EXPECT_THAT(faultsOf(darks.inspect({}, true)), IsEmpty());
    std::ranges::fill(darks[4], flatCounts);
    EXPECT_THAT(faultsOf(darks.inspect({}, true)), ElementsAre("4 level"));
}

TEST(FlatInspection, LeavesMarkedPixelsOutOfLevelsAndPictures) {
    FieldSet set{
        .name = "flat fields", .width = 256, .height = 2, .places = {{"a", 0}, {"a", 1}}, .read = {}};
    set.wantsThumbnails = true; // of blocks of 2 x 2
    set.read = [](std::size_t field) {
        FramePtr frame = Frame::create(256, 2, zt::DT_I32);
        const auto pixels = frame->pixels<zt::i32>();
        std::ranges::fill(pixels, 10);
        if (field == 0) {
            pixels[0] = -1;
            pixels[1] = std::numeric_limits<zt::i32>::max();
            for (const std::size_t i : {2, 3, 258, 259})
                pixels[i] = -2;
        }
        return frame;
    };
    const InspectionReport report = inspectFields(set, {});
    const std::vector<double>& pixels = report.fields[0].thumbnail.pixels;
    EXPECT_EQ(report.fields[0].level, 10);
    EXPECT_EQ(pixels[0], 10);
    EXPECT_TRUE(std::isnan(pixels[1]));
    EXPECT_THAT(std::span(pixels).subspan(2), Each(10));
    EXPECT_THAT(meanThumbnail(report), Each(10)); // the second frame has all blocks
}

TEST(FlatInspection, ReportsDriftOfLevelAndPattern) {
    Flats flats(16);
    EXPECT_FALSE(flats.inspect().drift->isLevel);
    EXPECT_FALSE(flats.inspect().drift->isPattern);
    for (std::size_t k = 0; k < 16; ++k) {
        flats.scale(k, 1 - 0.005 * static_cast<double>(k));
        flats.scale(k, 1 - 0.002 * static_cast<double>(k), 8);
    }
    InspectionLimits limits;
    limits.structure = 50;
    const FieldDrift drift = *flats.inspect(limits).drift;
    EXPECT_TRUE(drift.isLevel);
    EXPECT_NEAR(drift.level, -0.075, 0.01);
    EXPECT_FALSE(drift.isPattern); // by the limit given
    EXPECT_NEAR(drift.pattern, -0.03, 0.01);
    EXPECT_EQ(drift.tile.x + drift.tile.y, 0u);
}

// The limit must be exceeded by one of 100,000 good frames at most. The tail of lower limits shows that the
// deviations are as normal as the limit assumes.
TEST(TileStructure, ExceedsItsLimitsAsRarelyAsTheNormalDistributionSays) {
    const TileGrid grid(256, 256);
    ASSERT_EQ(grid.count(), 64u);
    std::mt19937_64 random(3);
    std::poisson_distribution<int> photons(1100); // the fewest that are judged
    const double rare = sidakLimit(grid.count(), 1e-3);
    int frames = 0, exceeding = 0, failed = 0;
    for (int set = 0; set < 400; ++set) {
        TileTable sums(20, std::vector<double>(grid.count()));
        for (auto& frame : sums)
            std::ranges::generate(frame, [&] { return photons(random); });
        const TileStructure structure(grid, sums, {std::vector<bool>(20, true), {}});
        for (std::size_t k = 0; k < 20; ++k) {
            ++frames;
            exceeding += std::abs(structure.worst(k).sigma) > rare;
            failed += structure.deviates(k);
        }
    }
    EXPECT_EQ(failed, 0);
    EXPECT_LE(exceeding, 25) << "of " << frames << ", 8 expected";
}
