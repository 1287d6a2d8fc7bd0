// The search without tiles, which leaves out scores: against the scores of all candidates by the plain form.
#include "EngineFixture.h"
#include "aic/SearchRecord.h"

#include <array>
#include <cmath>

namespace {

using plain::Image;

// Flat fields that change smoothly over a grid, and frames of a sample taken somewhere within it.
class SmoothSet {
public:
    explicit SmoothSet(unsigned seed) : random(seed) {
        settings.quality.tile = oneOf({0, -1});
        settings.quality.kernel = oneOf<std::vector<float>>({{0, -1, 0, -1, 4, -1, 0, -1, 0},
                                                             {0, -1, 0, -1, 5, -1, 0, -1, 0},
                                                             {-1, -1, -1, -1, 8, -1, -1, -1, -1}});
        settings.preProcess.enabled = random() % 4 == 0;
        cols = 3 + static_cast<int>(random() % 45);
        rows = 3 + static_cast<int>(random() % 45);
        for (auto& pattern : patterns)
            pattern = randomImage(cols, rows, random, -0.1f, 0.1f);
        if (random() % 3 == 0)
            settings.quality.customMask = binaryMask();
        makeGrid();
    }

    Image frame() {
        const auto place = [&] { return std::uniform_real_distribution<float>(0, 1)(random); };
        Image image = flatAt(place(), place(), place());
        const float opacity = place();
        std::normal_distribution<float> noise(0, 0.01f);
        for (std::size_t i = 0; i < image.pixels.size(); ++i)
            image.pixels[i] *= 1000 * (i % 7 < 3 ? opacity : 1) * (1 + noise(random));
        if (random() % 3 == 0) // as after the subtraction of a dark field
            image.pixels[random() % image.pixels.size()] *= -1;
        return image;
    }

    plain::Settings settings;
    plain::Grid grid;

private:
    template <typename T>
    T oneOf(std::initializer_list<T> values) {
        return values.begin()[random() % values.size()];
    }

    Image flatAt(float v, float t, float e) const {
        Image image(cols, rows);
        for (std::size_t i = 0; i < image.pixels.size(); ++i)
            image.pixels[i] = std::exp(v * patterns[0].pixels[i] + t * patterns[1].pixels[i] +
                                       e * e * patterns[2].pixels[i] + 3 * patterns[3].pixels[i]);
        return image;
    }

    Image binaryMask() {
        Image mask(cols, rows);
        std::ranges::generate(mask.pixels, [&] { return random() % 5 == 0 ? 0.0f : 1.0f; });
        return mask;
    }

    void makeGrid() {
        const auto count = [&] { return 1 + static_cast<int>(random() % 6); };
        grid = {count(), count(), count(), {}};
        const auto part = [](int i, int n) {
            return n == 1 ? 0 : static_cast<float>(i) / static_cast<float>(n - 1);
        };
        for (int v = 0; v < grid.vCount; ++v)
            for (int t = 0; t < grid.tCount; ++t)
                for (int e = 0; e < grid.eCount; ++e)
                    grid.points.push_back(
                        {flatAt(part(v, grid.vCount), part(t, grid.tCount), part(e, grid.eCount)),
                         static_cast<float>(v), static_cast<float>(t), static_cast<float>(e)});
        const std::size_t holes = random() % 2 * (grid.points.size() / 4);
        for (std::size_t i = 0; i < holes; ++i)
            grid.points[1 + random() % (grid.points.size() - 1)].image = {};
        // Two candidates with the same score; a dead pixel in another.
        grid.points[random() % grid.points.size()].image = grid.points.front().image;
        grid.points.front().image.pixels[random() % grid.points.front().image.pixels.size()] = 0;
    }

    std::mt19937 random;
    int cols = 0;
    int rows = 0;
    std::array<Image, 4> patterns;
};

std::vector<float> allScores(const SmoothSet& set, const Image& frame) {
    float level = 0;
    const Image prepared = plain::preProcessed(frame, set.settings.preProcess, level);
    std::vector<float> scores;
    for (const plain::GridPoint& point : set.grid.points) {
        if (point.image.pixels.empty())
            continue;
        Image divisor = point.image;
        std::ranges::replace_if(
            divisor.pixels, [](float pixel) { return pixel < smallestDivisor; }, 1.0f);
        scores.push_back(*plain::quality(plain::quotient(prepared, divisor), set.settings.quality));
    }
    return scores;
}

// Returns how many scores the search had left out.
std::size_t compareScores(c_AIC& engine, const std::vector<float>& wanted) {
    const SearchRecord* const found = engine.lastSearch();
    std::size_t leftOut = 0;
    EXPECT_TRUE(found != nullptr && found->candidates.size() == wanted.size());
    if (::testing::Test::HasFailure())
        return 0;
    const auto best = found->least();
    EXPECT_EQ(best, static_cast<std::size_t>(std::ranges::min_element(wanted) - wanted.begin()));
    const auto second = found->least(best);
    EXPECT_EQ(second.has_value(), wanted.size() > 1);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_TRUE(i == best || std::pair(wanted[*second], *second) <= std::pair(wanted[i], i));
        leftOut += found->candidates[i].score ? 0 : 1;
        const float score = engine.scoreOf(i);
        EXPECT_TRUE(sameBits(score, wanted[i])) << score << " instead of " << wanted[i];
    }
    return leftOut;
}

TEST(PrunedSearch, FindsTheTwoBestOfAllCandidates) {
    for (const Kernels* kernels : allKernels()) {
        std::size_t all = 0;
        std::size_t leftOut = 0;
        for (unsigned seed = 0; seed < 16; ++seed) {
            SCOPED_TRACE("set " + std::to_string(seed) + ", " + kernels->processor);
            SmoothSet set(seed);
            EngineFiles files;
            files.writeHeap(set.grid, 16);
            c_AIC engine(*kernels);
            ASSERT_EQ(engine.Init(files.configuration(set.settings, 0), true), 0);
            EXPECT_EQ(engine.lastSearch(), nullptr);
            for (int i = 0; i < 2; ++i) {
                const Image frame = set.frame();
                const auto wanted = allScores(set, frame);
                ImageContainer result;
                float quality = 0;
                ASSERT_EQ(engine.CompensateImage(engineImage(frame), &result, &quality, "", false), 0);
                EXPECT_TRUE(sameBits(quality, *std::ranges::min_element(wanted)));
                leftOut += compareScores(engine, wanted);
                all += wanted.size();
            }
            if (HasFailure())
                return;
        }
        EXPECT_GT(leftOut, all / 2);
    }
}

// The sum of the magnitudes is 2^24 + 1, in the middle between two floats.
TEST(PrunedSearch, RoundsAScoreBetweenTwoFloatsByItsDefinition) {
    SmoothSet set(1);
    set.settings.quality.kernel = {0, -1, 0, -1, 4, -1, 0, -1, 0};
    set.settings.quality.customMask = {};
    set.grid = {1, 1, 1, {{Image(8, 8, 1), 1, 1, 1}}};
    EngineFiles files;
    files.writeHeap(set.grid, 16);
    Image frame(8, 8);
    frame.at(1, 0) = 0x1p24f;
    frame.at(5, 0) = 1;
    for (const Kernels* kernels : allKernels()) {
        c_AIC engine(*kernels);
        ASSERT_EQ(engine.Init(files.configuration(set.settings, 0), true), 0);
        ImageContainer result;
        float quality = 0;
        c_AIC::Position best;
        EXPECT_EQ(
            engine.FindOptimalCompensationLinearSearch(engineImage(frame), &result, 1, &quality, best, ""),
            0);
        EXPECT_EQ(quality, 0x1p24f);
    }
}

} // namespace
