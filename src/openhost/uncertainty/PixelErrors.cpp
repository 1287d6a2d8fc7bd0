#include "uncertainty/PixelErrors.h"

#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ombrel {

// A pixel that counts more than a typical one counts as many photons (or electrons) more.
std::vector<double> variancesOf(const DarkField& dark, double gain) {
    const double typical = dark.variance ? medianOfCopy(dark.mean) : 0;
    std::vector<double> variances;
    for (const double mean : dark.mean)
        variances.push_back(dark.variance.value_or(0) + gain * std::max(mean - typical, 0.0));
    return variances;
}

double CountNoise::varianceOf(double counts, std::size_t pixel) const {
    return std::max(gain * counts + (darkVariance.empty() ? 0 : darkVariance[pixel]), gain * gain);
}

double CountNoise::meanDarkVariance(std::size_t pixel) const {
    return darkVariance.empty() ? 0 : darkVariance[pixel] / darkFrames;
}

PixelErrors PixelErrors::ofCounts(std::span<const double> counts, zt::u32 width, const CountNoise& noise) {
    PixelErrors errors{width, {counts.begin(), counts.end()}, {}, {}, {}};
    errors.photon.resize(counts.size());
    for (std::size_t i = 0; i < counts.size(); ++i)
        errors.photon[i] = noise.varianceOf(counts[i], i);
    errors.calibration.resize(counts.size());
    errors.filled.resize(counts.size());
    return errors;
}

namespace {

// A variance of a weighted sum. What a filled pixel has in common with its neighbours is not followed: it
// counts as the whole of it, so that the error is never given too small.
class SumVariance {
public:
    void add(double weight, double variance, bool isFilled) {
        if (isFilled)
            common += weight * std::sqrt(variance);
        else
            independent += weight * weight * variance;
    }
    double total() const {
        const double sigma = std::sqrt(independent) + common;
        return common == 0 ? independent : sigma * sigma;
    }

private:
    double independent = 0;
    double common = 0;
};

// The mean of the pixels around one, weighted by the inverse distance.
struct NeighbourMean {
    double value = 0;
    double photon = notANumber; // without known pixels
    double calibration = 0;
    std::size_t cells = 0;
    std::size_t known = 0;

    // The filters fill a pixel with more than three eighths of the cells known.
    bool isEnough() const { return cells * 3 < known * 8; }
};

template <typename Known>
NeighbourMean meanAround(const PixelErrors& errors, std::size_t pixel, Known isKnown) {
    constexpr zt::u32 reach = 2;
    const auto x = static_cast<zt::u32>(pixel % errors.width);
    const auto y = static_cast<zt::u32>(pixel / errors.width);
    NeighbourMean mean;
    double weights = 0;
    SumVariance photon, calibration;
    for (zt::u32 v = y - std::min(y, reach); v <= std::min(y + reach, errors.height() - 1); ++v)
        for (zt::u32 u = x - std::min(x, reach); u <= std::min(x + reach, errors.width - 1); ++u) {
            const std::size_t other = std::size_t{v} * errors.width + u;
            ++mean.cells;
            if (other == pixel || !isKnown(other))
                continue;
            ++mean.known;
            const double weight = 1 / std::hypot(static_cast<double>(u) - x, static_cast<double>(v) - y);
            weights += weight;
            mean.value += weight * errors.value[other];
            photon.add(weight, errors.photon[other], errors.filled[other] != 0);
            calibration.add(weight, errors.calibration[other], errors.filled[other] != 0);
        }
    if (weights > 0) {
        mean.value /= weights;
        mean.photon = photon.total() / (weights * weights);
        mean.calibration = calibration.total() / (weights * weights);
    }
    return mean;
}

using FilledPixels = std::vector<std::pair<std::size_t, NeighbourMean>>;

void put(PixelErrors& errors, const FilledPixels& means) {
    for (const auto& [pixel, mean] : means) {
        errors.value[pixel] = mean.value;
        errors.photon[pixel] = mean.photon;
        errors.calibration[pixel] = mean.calibration;
        errors.filled[pixel] = 1;
    }
}

} // namespace

void markErrors(PixelErrors& errors, std::span<const zt::u32> marked, std::span<const zt::u8> deviceMask) {
    if (marked.empty())
        return;
    std::vector<zt::u8> isKnown(errors.size(), 1);
    if (deviceMask.size() == errors.size())
        std::ranges::copy(deviceMask, isKnown.begin());
    for (const zt::u32 pixel : marked)
        isKnown[pixel] = 0;
    FilledPixels means;
    for (const zt::u32 pixel : marked)
        means.emplace_back(pixel, meanAround(errors, pixel, [&](std::size_t i) { return isKnown[i] != 0; }));
    put(errors, means);
}

void fillErrors(PixelErrors& errors, std::span<const zt::u8> bad) {
    std::vector<std::size_t> left;
    for (std::size_t i = 0; i < bad.size(); ++i)
        if (bad[i] != 0)
            left.push_back(i);
    if (left.size() * 2 > bad.size())
        return;
    std::vector<zt::u8> isUnknown(bad.begin(), bad.end());
    while (!left.empty()) {
        FilledPixels means;
        std::vector<std::size_t> still;
        for (const std::size_t pixel : left) {
            const auto mean = meanAround(errors, pixel, [&](std::size_t i) { return isUnknown[i] == 0; });
            if (mean.isEnough())
                means.emplace_back(pixel, mean);
            else
                still.push_back(pixel);
        }
        if (means.empty())
            return;
        put(errors, means);
        for (const auto& filled : means)
            isUnknown[filled.first] = 0;
        left = std::move(still);
    }
}

namespace {

// A block of the binning: each of its pixels becomes the sum of all.
void binBlock(PixelErrors& errors, std::size_t first) {
    const std::size_t block[] = {first, first + 1, first + errors.width, first + errors.width + 1};
    double value = 0;
    SumVariance photon, calibration;
    for (const std::size_t i : block) {
        value += errors.value[i];
        photon.add(1, errors.photon[i], errors.filled[i] != 0);
        calibration.add(1, errors.calibration[i], errors.filled[i] != 0);
    }
    for (const std::size_t i : block) {
        errors.value[i] = value;
        errors.photon[i] = photon.total();
        errors.calibration[i] = calibration.total();
        errors.filled[i] = 0;
    }
}

} // namespace

void binErrors(PixelErrors& errors) {
    const std::size_t size = errors.size();
    const zt::u32 height = errors.height();
    const auto resize = [&](std::size_t pixels) { // the filter finds zeros after the frame
        errors.value.resize(pixels);
        errors.photon.resize(pixels);
        errors.calibration.resize(pixels);
        errors.filled.resize(pixels);
    };
    resize(size + errors.width + 1);
    for (zt::u32 y = 0; y < height; y += 2)
        for (zt::u32 x = 0; x < errors.width; x += 2)
            binBlock(errors, std::size_t{y} * errors.width + x);
    resize(size);
}

} // namespace ombrel
