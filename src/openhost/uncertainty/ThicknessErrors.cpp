#include "uncertainty/ThicknessErrors.h"

#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ombrel {

namespace {

// As the filter keeps it: 0 without counts.
double logRate(double counts, double seconds) {
    return counts > 0 ? std::log(counts / seconds) : 0;
}

// The line through two masks at a pixel, from which its thickness is read.
struct Line {
    const MaskFacts& upper; // the thinner mask, of more counts
    const MaskFacts& lower;
    double upperRate; // logarithms
    double lowerRate;
};

// The masks between which the rate lies, or the two nearest.
Line lineAt(double rate, std::size_t pixel, const std::vector<MaskFacts>& masks) {
    const auto rateOf = [&](std::size_t k) { return masks[k].rates[pixel]; };
    std::size_t above = 0; // masks whose rate is above, in their order
    while (above < masks.size() && rate < rateOf(above))
        ++above;
    const std::size_t second = std::clamp<std::size_t>(above, 1, masks.size() - 1);
    return {masks[second - 1], masks[second], rateOf(second - 1), rateOf(second)};
}

class PixelConversion {
public:
    // A filled pixel was filled in the masks, too: as if it were one of the detector's usual response.
    PixelConversion(const ThicknessFacts& thicknessFacts, const CountNoise& countNoise, std::size_t index,
                    bool isFilled)
        : facts(thicknessFacts), noise(countNoise), pixel(index),
          coefficient(facts.coefficients.empty() || isFilled ? 1 : facts.coefficients[index]) {}

    void convert(double& value, double& photon, double& calibration, double seconds) const {
        const double rate = logRate(value, seconds);
        const Line line = lineAt(rate, pixel, facts.masks);
        const double distance = line.lowerRate - line.upperRate;
        if (!(value > 0) || distance == 0) {
            value = 0;
            photon = calibration = notANumber;
            return;
        }
        const double step = line.lower.thickness - line.upper.thickness;
        const double part = (rate - line.upperRate) / distance; // 0 at the upper mask, 1 at the lower
        // Slopes of the thickness by the logarithms of the pixel and of both masks.
        const double own = step / distance;
        const double ofUpper = -own * (1 - part);
        const double ofLower = -own * part;
        const double relative = own / value;
        const double darkSlope =
            coefficient * (relative + ofUpper * line.upper.frames / countsOf(line.upper) +
                           ofLower * line.lower.frames / countsOf(line.lower));
        value = line.upper.thickness + step * part;
        photon *= relative * relative;
        calibration = calibration * relative * relative + ofUpper * ofUpper * variance(line.upper) +
                      ofLower * ofLower * variance(line.lower) +
                      darkSlope * darkSlope * noise.meanDarkVariance(pixel);
    }

private:
    double countsOf(const MaskFacts& mask) const { return mask.counts[pixel]; }
    // Of the logarithm of a mask.
    double variance(const MaskFacts& mask) const {
        const double mean = countsOf(mask) / coefficient / mask.frames; // of one frame as measured
        return noise.varianceOf(mean, pixel) / (mask.frames * mean * mean);
    }

    const ThicknessFacts& facts;
    const CountNoise& noise;
    std::size_t pixel;
    double coefficient;
};

} // namespace

MaskFacts MaskFacts::of(double thickness, double frames, std::vector<double> counts, double seconds) {
    MaskFacts mask{thickness, frames, std::move(counts), {}};
    for (const double sum : mask.counts)
        mask.rates.push_back(logRate(sum, seconds));
    return mask;
}

std::vector<zt::u8> convertErrors(PixelErrors& errors, double seconds, const ThicknessFacts& facts,
                                  const CountNoise& noise) {
    std::vector<zt::u8> isZero(errors.size());
    for (std::size_t i = 0; i < errors.size(); ++i) {
        PixelConversion(facts, noise, i, errors.filled[i] != 0)
            .convert(errors.value[i], errors.photon[i], errors.calibration[i], seconds);
        isZero[i] = errors.value[i] == 0 ? 1 : 0;
    }
    return isZero;
}

} // namespace ombrel
