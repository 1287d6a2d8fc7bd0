#include "uncertainty/PhotonTransfer.h"

#include "base/Numbers.h"
#include "frame/Statistics.h"
#include "inspection/PixelNoise.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace ombrel {

namespace {

constexpr std::size_t mostSampled = 65536;
constexpr double leastResponse = 0.2; // of the level; fainter pixels are left out
constexpr double sameGain = 0.01;     // relative to 1

// A prime, so that it shares no period with rows.
std::size_t strideOf(std::size_t size) {
    constexpr std::size_t primes[] = {1, 2, 3, 5, 7, 11, 17, 31, 61, 127, 257, 521, 1031};
    for (const std::size_t prime : primes)
        if (size / prime <= mostSampled)
            return prime;
    return size / mostSampled;
}

} // namespace

// If the noise of the dark is not known, the dark counts as photons and belongs to the mean.
PhotonTransfer::Sample PhotonTransfer::sampleOf(std::vector<double> frame) const {
    if (dark && !dark->variance)
        std::ranges::transform(frame, dark->mean, frame.begin(), std::plus());
    Sample sample{{}, meanOf(frame)};
    const std::size_t stride = strideOf(frame.size());
    for (std::size_t i = 0; i < frame.size(); i += stride)
        sample.pixels.push_back(frame[i] / sample.level);
    return sample;
}

double PhotonTransfer::darkNoise(double degrees, double level) const {
    return dark && dark->variance ? *dark->variance * chiSquareMedian(degrees) / (level * level) : 0;
}

void PhotonTransfer::add(const Frame& frame) {
    const Sample sample = sampleOf(doublesOf(frame));
    mean.resize(sample.pixels.size());
    squares.resize(sample.pixels.size());
    levels += sample.level;
    ++frames;
    for (std::size_t i = 0; i < mean.size(); ++i) { // the mean and the squared distances from it
        const double distance = sample.pixels[i] - mean[i];
        mean[i] += distance / frames;
        squares[i] += distance * (sample.pixels[i] - mean[i]);
    }
}

void PhotonTransfer::endSet() {
    const double degrees = frames - 1;
    const double level = levels / frames;
    const double ofDark = degrees > 0 ? darkNoise(degrees, level) : 0;
    std::vector<double> gains;
    for (std::size_t i = 0; i < mean.size() && degrees > 0; ++i)
        if (mean[i] > leastResponse)
            gains.push_back((squares[i] - ofDark) / mean[i] * level);
    if (degrees > 0)
        take(std::move(gains), degrees);
    mean.clear();
    squares.clear();
    levels = frames = 0;
}

void PhotonTransfer::addSplit(const Frame& one, std::span<const double> others, double count) {
    const Sample first = sampleOf(doublesOf(one));
    const Sample rest = sampleOf({others.begin(), others.end()});
    const double ofDark = darkNoise(1, rest.level);
    std::vector<double> gains;
    for (std::size_t i = 0; i < first.pixels.size(); ++i) {
        const double distance = first.pixels[i] - rest.pixels[i];
        const double squared = distance * distance * (count - 1) / count;
        if (rest.pixels[i] > leastResponse)
            gains.push_back((squared - ofDark) / rest.pixels[i] * rest.level);
    }
    take(std::move(gains), 1);
}

// Squared distances over their mean are a chi-square times the gain. Its median leaves pixels that flicker or
// are noisy without influence.
void PhotonTransfer::take(std::vector<double> gains, double degrees) {
    if (gains.empty())
        return;
    const auto count = static_cast<double>(gains.size());
    weighted += degrees * medianOf(gains) / chiSquareMedian(degrees);
    weights += degrees;
    pixels = std::max(pixels, count);
}

std::optional<double> PhotonTransfer::gain() const {
    if (weights == 0 || !std::isfinite(weighted))
        return std::nullopt;
    const double measured = weighted / weights;
    constexpr double medianError = 2.4; // of a chi-square of one degree, the worst case
    const double error = medianError / std::sqrt(pixels * weights);
    if (!(measured > 0))
        return std::nullopt;
    return std::abs(measured - 1) < std::max(sameGain, 3 * error) ? 1 : measured;
}

} // namespace ombrel
