#include "run/RunSigma.h"

#include "base/Error.h"
#include "frame/PixelFaults.h"
#include "host/Session.h"
#include "run/TouchedPixels.h"

#include <algorithm>
#include <iterator>

namespace ombrel {

const RunOptions& checkedSigma(const RunOptions& options) {
    if (!options.sigma.isWanted && options.sigma.gain)
        throw UsageError("--gain goes with --sigma");
    if (!options.sigma.isWanted)
        return options;
    std::vector<std::string> filters;
    std::ranges::transform(options.links, std::back_inserter(filters), &LinkOptions::name);
    checkSigmaChain(filters);
    if (FrameOutput::hasPages(options.output))
        throw UsageError("--sigma: not with TIFF, which has no place for it; write " + options.output +
                         " as .h5 or .nxs");
    if (options.noChoice && filters.front() == "AdaptiveFF")
        throw UsageError("--sigma: not with --no-choice, since the noise of a flat field depends on the grid "
                         "point that AdaptiveFF chooses");
    return options;
}

void recordSigma(RunRecord& record, const SigmaOptions& options) {
    if (options.isWanted)
        record.sigma = options.calibrationPart ? "calibration" : "total";
    record.gain = options.gain;
}

SigmaOptions sigmaOf(const RunRecord& record) {
    return {record.sigma != "none", record.sigma == "calibration", record.gain};
}

std::vector<std::string> planesOf(const SigmaOptions& options) {
    if (!options.isWanted)
        return {};
    return {planeNames.begin(), planeNames.begin() + (options.calibrationPart ? 2 : 1)};
}

namespace {

// The pixels that the filter fills in every frame.
std::vector<zt::u8> filledBy(FilterLink& link, const SigmaSources& sources) {
    FilterLink* const alone[] = {&link};
    std::vector<zt::u8> filled;
    for (const zt::u32 faults : touchedPixels(sources.host, sources.device, alone, sources.mask))
        filled.push_back((faults & fault::filled) != 0 ? 1 : 0);
    return filled;
}

// The frames of an earlier run are no longer counts.
void refuseOutputs(const FrameStack& stack) {
    for (std::size_t file = 0; file < stack.fileCount(); ++file)
        if (stack.info(file).run)
            throw Error(stack.info(file).path +
                        ": holds corrected frames, whose noise is not that of counts; "
                        "--sigma needs the frames of the detector and the whole "
                        "chain in one run");
}

} // namespace

std::unique_ptr<SigmaModel> makeSigmaModel(const SigmaSources& sources, std::span<const LoadedLink> links) {
    std::vector<std::string> filters;
    for (const LoadedLink& loaded : links)
        filters.push_back(loaded.link->name());
    checkSigmaChain(filters);
    refuseOutputs(sources.stack);
    SigmaPlan plan{.links = {},
                   .gain = sources.gain,
                   .deviceMask = sources.mask ? sources.mask->deviceBytes() : std::vector<zt::u8>(),
                   .keepNan = sources.keepNan,
                   .dark = sources.dark};
    for (const LoadedLink& loaded : links)
        plan.links.push_back({loaded.link->name(), loaded.settings, loaded.contents,
                              filledBy(*loaded.link, sources), loaded.link->filter().parameters()});
    return std::make_unique<SigmaModel>(plan);
}

std::unique_ptr<SigmaModel> sigmaModelOf(RunSetup& setup, Console& console) {
    const RunOptions& options = setup.options;
    if (!options.sigma.isWanted)
        return nullptr;
    std::vector<LoadedLink> links;
    for (std::size_t i = 0; i < options.links.size(); ++i)
        links.push_back(
            {&setup.workers.chains[0].links()[i], options.links[i].settings, options.links[i].contents});
    auto model = makeSigmaModel({.host = setup.session.host(),
                                 .device = setup.session.device(),
                                 .stack = setup.stack,
                                 .mask = setup.mask,
                                 .gain = options.sigma.gain,
                                 .keepNan = options.marks.keepNan,
                                 .dark = setup.dark ? &*setup.dark : nullptr},
                                links);
    if (!options.sigma.gain && !options.quiet)
        console.message(model->gainText());
    return model;
}

} // namespace ombrel
