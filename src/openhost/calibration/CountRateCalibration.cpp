#include "calibration/CountRateCalibration.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace ombrel {

namespace {

// Ratio of the fluxes of two masks: the line between them is off by an eighth of its logarithm squared, 0.03
// %.
constexpr double mostRatio = 1.05;
constexpr std::size_t nearestFluxes = 4;

// The logarithm of counts a second of each pixel at one flux; NaN for a pixel that counts nothing.
struct MeasuredRates {
    double flux = 0;
    std::vector<double> logarithms;
};

std::vector<MeasuredRates> readRates(MaskCalibration& calibration, const std::vector<ThicknessMask>& masks) {
    std::vector<MeasuredRates> rates;
    for (const ThicknessMask& mask : masks) {
        const MaskSum sum = calibration.measure(mask, "flux");
        rates.push_back({mask.thickness, {}});
        for (const double counts : std::as_const(*sum.frame).pixels<double>())
            rates.back().logarithms.push_back(counts > 0 ? std::log(counts / sum.seconds) : notANumber);
    }
    return rates;
}

// More flux must give more counts, or there is no way back from counts to flux. Some pixels may be bad.
void refuseIfFolded(const std::vector<MeasuredRates>& rates) {
    for (std::size_t k = 1; k < rates.size(); ++k) {
        std::size_t folded = 0;
        for (std::size_t i = 0; i < rates[k].logarithms.size(); ++i)
            folded += rates[k].logarithms[i] >= rates[k - 1].logarithms[i] ? 1 : 0;
        if (2 * folded > rates[k].logarithms.size())
            throw Error(
                "--flux " + numberText(rates[k - 1].flux) +
                "=...: most pixels count no more than at a flux of " + numberText(rates[k].flux) +
                "; above the detector's highest count rate counts don't determine the flux, leave it out");
    }
}

MaskSum maskAt(double flux, const std::vector<MeasuredRates>& rates, const FrameStack& shape) {
    std::vector<double> fluxes;
    std::ranges::transform(rates, std::back_inserter(fluxes), &MeasuredRates::flux);
    const auto factors = interpolationFactors(fluxes, flux);
    MaskSum mask{Frame::create(shape.width(), shape.height(), zt::DT_DOUBLE), 1, {}};
    const auto pixels = mask.frame->pixels<double>();
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        double logarithm = 0;
        for (std::size_t k = 0; k < rates.size(); ++k)
            if (factors[k] != 0)
                logarithm += factors[k] * rates[k].logarithms[i];
        pixels[i] = std::isnan(logarithm) ? 0 : std::exp(logarithm);
    }
    return mask;
}

} // namespace

std::vector<double> maskFluxes(std::span<const double> measured) {
    std::vector<double> fluxes;
    for (std::size_t k = 0; k + 1 < measured.size(); ++k) {
        const double length = std::log(measured[k] / measured[k + 1]);
        const double parts = std::max(1.0, std::ceil(length / std::log(mostRatio)));
        for (double part = 0; part < parts; ++part)
            fluxes.push_back(part == 0 ? measured[k] : measured[k] * std::exp(-length * part / parts));
    }
    if (!measured.empty())
        fluxes.push_back(measured.back());
    return fluxes;
}

std::vector<double> interpolationFactors(std::span<const double> measured, double flux) {
    std::vector<std::size_t> nearest(measured.size());
    std::iota(nearest.begin(), nearest.end(), std::size_t{0});
    const auto distance = [&](std::size_t k) { return std::abs(std::log(measured[k] / flux)); };
    std::ranges::stable_sort(nearest, {}, distance);
    nearest.resize(std::min(nearest.size(), nearestFluxes));
    std::vector<double> factors(measured.size());
    for (const std::size_t k : nearest) { // Lagrange
        factors[k] = 1;
        for (const std::size_t other : nearest)
            if (other != k)
                factors[k] *= std::log(flux / measured[other]) / std::log(measured[k] / measured[other]);
    }
    return factors;
}

void calibrateCountRate(const CountRateOptions& options, Console& console) {
    std::vector<ThicknessMask> masks = parseThicknessMasks(options.masks, {"--flux", "FLUX"});
    // The filter walks its masks from the one of the most counts down.
    std::ranges::reverse(masks);
    if (masks.size() < 2 || !(masks.back().thickness > 0))
        throw UsageError("--flux: give at least two fluxes, all above 0");
    MaskCalibration calibration(options, masks, console);
    const auto rates = readRates(calibration, masks);
    calibration.endInspection();
    refuseIfFolded(rates);
    std::vector<double> measured;
    std::ranges::transform(rates, std::back_inserter(measured), &MeasuredRates::flux);
    const auto fluxes = maskFluxes(measured);
    for (const double flux : fluxes)
        calibration.add(flux, maskAt(flux, rates, calibration.frames()));
    calibration.save();
    console.message(countText(fluxes.size(), "mask") + " from " + std::to_string(rates.size()) +
                    " fluxes: " + options.output + "; Beam-hardening with it returns the flux");
}

} // namespace ombrel
