#include "uncertainty/PixelErrors.h"

#include "simulation/Scene.h"
#include "uncertainty/ThicknessErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace ombrel {

namespace {

constexpr zt::u32 side = 512;
constexpr std::size_t pixels = std::size_t{side} * side;

using Values = std::vector<double>;

// Counts of a detector of which each pixel is known exactly, and the noise that a model has to explain.
class Truth {
public:
    explicit Truth(std::uint64_t seed) : random(seed) {
        for (std::size_t i = 0; i < pixels; ++i)
            response.push_back(std::exp(0.1 * random.gaussian()));
    }

    // A sum of `frames` frames of that mean, `gain` counts a photon.
    Values sum(const std::function<double(std::size_t)>& mean, double frames = 1, double gain = 1) {
        Values counts(pixels);
        for (std::size_t i = 0; i < pixels; ++i)
            counts[i] = gain * random.poisson(frames * mean(i) / gain);
        return counts;
    }

    Values response;

private:
    simulation::Random random;
};

// Shares of the pixels within one and two standard deviations, and the spread of their deviations.
struct Coverage {
    double one = 0;
    double two = 0;
    double spread = 0;

    Coverage(const Values& value, const Values& truth, const std::function<double(std::size_t)>& variance) {
        double squares = 0;
        for (std::size_t i = 0; i < value.size(); ++i) {
            const double deviation = std::abs(value[i] - truth[i]) / std::sqrt(variance(i));
            one += deviation < 1;
            two += deviation < 2;
            squares += deviation * deviation;
        }
        const auto count = static_cast<double>(value.size());
        one *= 100 / count;
        two *= 100 / count;
        spread = std::sqrt(squares / count);
    }
    Coverage(const PixelErrors& errors, const Values& truth)
        : Coverage(errors.value, truth,
                   [&](std::size_t i) { return errors.photon[i] + errors.calibration[i]; }) {}

    // The statistics of the test itself are a third of these limits.
    void expectHonest() const {
        EXPECT_NEAR(one, 68.27, 0.3);
        EXPECT_NEAR(two, 95.45, 0.2);
        EXPECT_NEAR(spread, 1, 0.01);
    }
};

FlatFieldFacts flatOf(const Values& sum, double frames, double level) {
    FlatFieldFacts flat{.coefficients = {}, .level = level, .frames = frames};
    for (const double counts : sum)
        flat.coefficients.push_back(level * frames / counts);
    return flat;
}

} // namespace

TEST(PixelErrors, coverTheTruthOfAFlatFieldWithGainAndDark) {
    for (const double gain : {1.0, 7.5}) {
        Truth truth(3);
        const double level = 4000;
        const auto dark = [&](std::size_t i) { return 300 * truth.response[pixels - 1 - i]; };
        const auto flat = [&](std::size_t i) { return level * truth.response[i]; };
        const auto sample = [&](std::size_t i) { return 0.4 * flat(i); };
        ombrel::DarkField darks;
        darks.mean = truth.sum(dark, 8, gain);
        for (double& counts : darks.mean)
            counts /= 8;
        const CountNoise noise{.gain = gain, .darkVariance = variancesOf(darks, gain), .darkFrames = 8};
        Values flats = truth.sum([&](std::size_t i) { return flat(i) + dark(i); }, 5, gain);
        Values frame = truth.sum([&](std::size_t i) { return sample(i) + dark(i); }, 1, gain);
        for (std::size_t i = 0; i < pixels; ++i) {
            flats[i] -= 5 * darks.mean[i];
            frame[i] -= darks.mean[i];
        }
        PixelErrors errors = PixelErrors::ofCounts(frame, side, noise);
        multiplyErrors(errors, flatOf(flats, 5, level), noise);
        Coverage(errors, Values(pixels, 0.4 * level)).expectHonest();
        const Values corrected = errors.value;
        binErrors(errors);
        EXPECT_EQ(errors.value[side + 1], errors.value[0]);
        EXPECT_NEAR(errors.value[0], corrected[0] + corrected[1] + corrected[side] + corrected[side + 1],
                    1e-9);
        Coverage(errors, Values(pixels, 1.6 * level)).expectHonest();
    }
}

// The frames of a calibration share its error, which no mean of frames makes smaller.
TEST(PixelErrors, keepTheCalibrationInCommonInAMeanOfFrames) {
    Truth truth(5);
    const auto flat = [&](std::size_t i) { return 3000 * truth.response[i]; };
    const FlatFieldFacts facts = flatOf(truth.sum(flat, 10), 10, 3000);
    constexpr int frames = 10;
    Values mean(pixels), photon(pixels), calibration(pixels);
    for (int k = 0; k < frames; ++k) {
        PixelErrors errors = PixelErrors::ofCounts(truth.sum(flat), side, {});
        multiplyErrors(errors, facts, {});
        for (std::size_t i = 0; i < pixels; ++i) {
            mean[i] += errors.value[i] / frames;
            photon[i] += errors.photon[i] / (frames * frames);
            calibration[i] += std::sqrt(errors.calibration[i]) / frames;
        }
    }
    const Values open(pixels, 3000);
    const auto common = [&](std::size_t i) { return photon[i] + calibration[i] * calibration[i]; };
    const auto independent = [&](std::size_t i) {
        return photon[i] + calibration[i] * calibration[i] / frames;
    };
    EXPECT_NEAR(Coverage(mean, open, common).spread, 1, 0.02);
    EXPECT_NEAR(Coverage(mean, open, independent).spread, 1.35, 0.02);
}

namespace {

constexpr std::array thicknesses{0.0, 0.6, 1.1, 1.9};

double transmissionOf(double thickness) {
    return std::exp(-1.2 * thickness + 0.05 * thickness * thickness);
}

// Masks of a detector whose pixels were multiplied by the coefficients; without noise if it is not given.
ThicknessFacts masksOf(Truth& truth, double frames, bool isNoisy, const Values& coefficients) {
    ThicknessFacts facts{.masks = {}, .coefficients = coefficients};
    for (const double thickness : thicknesses) {
        const auto mean = [&](std::size_t i) { return 5000 * truth.response[i] * transmissionOf(thickness); };
        Values counts(pixels);
        if (isNoisy)
            counts = truth.sum(mean, frames);
        for (std::size_t i = 0; i < pixels; ++i)
            counts[i] =
                (isNoisy ? counts[i] : frames * mean(i)) * (coefficients.empty() ? 1 : coefficients[i]);
        facts.masks.push_back(MaskFacts::of(thickness, frames, counts, frames));
    }
    return facts;
}

} // namespace

TEST(PixelErrors, coverTheTruthOfAThickness) {
    Truth truth(7);
    const FlatFieldFacts flat =
        flatOf(truth.sum([&](std::size_t i) { return 5000 * truth.response[i]; }, 4), 4, 5000);
    for (const bool isFlatFielded : {false, true}) {
        const Values coefficients = isFlatFielded ? flat.coefficients : Values();
        const ThicknessFacts masks = masksOf(truth, 6, true, coefficients);
        const ThicknessFacts exact = masksOf(truth, 6, false, coefficients);
        const auto mean = [&](std::size_t i) {
            return 5000 * truth.response[i] * transmissionOf(0.1 + 1.7 * static_cast<double>(i) / pixels);
        };
        Values frame = truth.sum(mean);
        Values thickness(pixels);
        std::ranges::generate(thickness, [&, i = std::size_t{0}]() mutable { return mean(i++); });
        if (isFlatFielded) // the flat field's error is in frame and masks alike
            for (std::size_t i = 0; i < pixels; ++i)
                thickness[i] *= coefficients[i];
        PixelErrors known = PixelErrors::ofCounts(thickness, side, {});
        convertErrors(known, 1, exact, {});
        PixelErrors errors = PixelErrors::ofCounts(frame, side, {});
        if (isFlatFielded) {
            multiplyErrors(errors, flat, {});
            std::ranges::fill(errors.calibration, 0.0);
        }
        convertErrors(errors, 1, masks, {});
        Coverage(errors, known.value).expectHonest();
    }
}

// The centre's error is that of the mean of its neighbours; what was filled counts as fully correlated.
TEST(PixelErrors, ofFilledPixelsAreThoseOfTheirNeighboursMean) {
    PixelErrors errors = PixelErrors::ofCounts(Values(81, 100), 9, {});
    std::vector<zt::u8> bad(81);
    bad[40] = 1;
    fillErrors(errors, bad);
    double weights = 0, squares = 0;
    for (int v = -2; v <= 2; ++v)
        for (int u = -2; u <= 2; ++u)
            if (const double distance = std::hypot(u, v); distance > 0) {
                weights += 1 / distance;
                squares += 1 / (distance * distance);
            }
    EXPECT_NEAR(errors.photon[40], 100 * squares / (weights * weights), 1e-9);
    EXPECT_NEAR(errors.value[40], 100, 1e-9);
    EXPECT_EQ(errors.photon[39], 100);
    // The block of the binning that holds it, (sqrt of three good pixels + the filled one) squared.
    const double filled = std::sqrt(errors.photon[40]);
    binErrors(errors);
    EXPECT_NEAR(errors.photon[40], std::pow(std::sqrt(300) + filled, 2), 1e-9);
    EXPECT_NEAR(errors.photon[0], 400, 1e-9);

    // Of a large cluster, and of more bad pixels than the filters fill.
    PixelErrors cluster = PixelErrors::ofCounts(Values(81, 100), 9, {});
    std::ranges::fill(bad, 0);
    for (const int row : {2, 3, 4, 5, 6})
        std::fill_n(bad.begin() + row * 9 + 2, 5, zt::u8{1});
    fillErrors(cluster, bad);
    EXPECT_EQ(std::ranges::count(cluster.filled, 1), 25);
    EXPECT_GT(cluster.photon[40], cluster.photon[20]);
    PixelErrors hopeless = PixelErrors::ofCounts(Values(81, 100), 9, {});
    fillErrors(hopeless, std::vector<zt::u8>(81, 1));
    EXPECT_EQ(hopeless.photon, Values(81, 100));
}

} // namespace ombrel
