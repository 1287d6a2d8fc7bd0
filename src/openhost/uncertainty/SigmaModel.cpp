#include "uncertainty/SigmaModel.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/Statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace ombrel {

namespace {

using ChainNames = std::vector<std::string>;

const std::array<ChainNames, 7>& followedChains() {
    static const std::array<ChainNames, 7> chains{ChainNames{"Flat-Field"},
                                                  {"AdaptiveFF"},
                                                  {"Beam-hardening"},
                                                  {"Binning 2x2"},
                                                  {"Flat-Field", "Binning 2x2"},
                                                  {"AdaptiveFF", "Binning 2x2"},
                                                  {"Flat-Field", "Beam-hardening"}};
    return chains;
}

std::vector<float> sigmasOf(const std::vector<double>& variances) {
    std::vector<float> sigmas(variances.size());
    std::ranges::transform(variances, sigmas.begin(),
                           [](double variance) { return static_cast<float>(std::sqrt(variance)); });
    return sigmas;
}

} // namespace

void checkSigmaChain(std::span<const std::string> filters) {
    if (std::ranges::find(followedChains(), ChainNames(filters.begin(), filters.end())) !=
        followedChains().end())
        return;
    std::string chain;
    for (const std::string& filter : filters)
        chain += (chain.empty() ? "" : ", ") + filter;
    throw UsageError("--sigma: errors are not followed through the chain " + chain +
                     "; it takes Flat-Field, AdaptiveFF, Beam-hardening or Binning 2x2 alone, Binning 2x2 "
                     "after Flat-Field or AdaptiveFF, and Beam-hardening after Flat-Field");
}

bool findsZeroPixels(zt::u8 pixelType) {
    constexpr std::array found{zt::DT_I16, zt::DT_U32, zt::DT_U64, zt::DT_DOUBLE};
    return std::ranges::find(found, pixelType) != found.end();
}

FrameCounts FrameCounts::of(const Frame& frame, std::vector<zt::u32> marked) {
    return {doublesOf(frame), frame.width(), frame.acqTime(), findsZeroPixels(frame.frameDataType()),
            std::move(marked)};
}

SigmaModel::SigmaModel(const SigmaPlan& plan) : deviceMask(plan.deviceMask), keepNan(plan.keepNan) {
    auto gain = plan.gain;
    links = errorsOfChain(plan.links, gain);
    noise.gain = gain.value_or(1);
    if (plan.dark) {
        noise.darkVariance = variancesOf(*plan.dark, noise.gain);
        noise.darkFrames = plan.dark->frames;
    }
    char counts[32];
    std::snprintf(counts, sizeof counts, "%.4g", noise.gain);
    gainNote =
        "standard deviations for " + std::string(counts) + (noise.gain == 1 ? " count" : " counts") +
        " a photon, " +
        (gain ? "as the calibration measured" : "as photon-counting detectors have; give --gain for others");
}

FrameSigma SigmaModel::of(const FrameCounts& frame, const std::optional<SelectedFlatField>& choice) const {
    PixelErrors errors = PixelErrors::ofCounts(frame.counts, frame.width, noise);
    markErrors(errors, frame.marked, deviceMask);
    for (const auto& link : links)
        link->apply(errors, frame, noise, choice);
    for (std::size_t i = 0; i < errors.size(); ++i)
        errors.photon[i] += errors.calibration[i];
    if (keepNan)
        for (const zt::u32 pixel : frame.marked)
            errors.photon[pixel] = errors.calibration[pixel] = notANumber;
    return {sigmasOf(errors.photon), sigmasOf(errors.calibration)};
}

} // namespace ombrel
