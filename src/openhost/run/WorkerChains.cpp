#include "run/WorkerChains.h"

#include "base/Error.h"
#include "base/MemoryBudget.h"
#include "base/NumberText.h"
#include "frame/PixelType.h"
#include "host/PrivateInterface.h"
#include "run/MakeRecord.h"
#include "settings/Settings.h"
#include "settings/SettingsFiles.h"
#include "settings/SettingsFit.h"
#include "zt/IBHFilter.h"
#include "zt/IFFFilter.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view choiceParam = "AdaptiveFF:LogQualityValuesFile=";

bool choosesGridPoints(const std::string& filter) {
    return filter.starts_with("AdaptiveFF=");
}

// A parameter that only decides what the filter writes besides its frames.
bool setsAWrite(const std::string& assignment) {
    return makesAWrite(ParamAssignment(assignment).param);
}

SettingsSource sourceOf(const RunOptions& options, const Device& device, std::size_t link,
                        ChoiceLogs* choices, std::size_t worker) {
    SettingsSource source = settingsOf(options, link);
    source.change = [=, &options, &device, path = source.path](Settings& settings) {
        const std::string wrong = misfit(settings.contents(), path, device.width(), device.height());
        if (!wrong.empty())
            throw Error(wrong);
        if (options.discardLogs)
            discardWrites(settings);
        if (choices && choosesGridPoints(options.filters[link]))
            choices->redirect(settings, worker);
        if (choices && options.discardLogs)
            choices->setUserFile({});
    };
    return source;
}

// All settings are loaded before the first parameter is set.
Chain makeChain(Session& session, const RunOptions& options, ChoiceLogs* choices, std::size_t worker) {
    Chain chain;
    for (std::size_t i = 0; i < options.filters.size(); ++i) {
        FilterLink& link = chain.add(session.makeLink(FilterOption(options.filters[i]).name));
        SettingsSource source = sourceOf(options, session.device(), i, choices, worker);
        if (source.path.empty())
            continue;
        source.checksHeap = worker == 0;
        link.loadSettings(source);
    }
    for (const std::string& assignment : options.params) {
        if (options.discardLogs && setsAWrite(assignment))
            continue;
        if (choices && assignment.starts_with(choiceParam))
            choices->setUserFile(assignment.substr(choiceParam.size()));
        else
            chain.setParam(assignment);
    }
    return chain;
}

// Beam hardening with zero pixels as bad: what it filled in one frame counts in the next.
bool remembers(FilterLink& link) {
    if (link.name() != "Beam-hardening")
        return false;
    auto& filter = privateInterface<IBHFilter>(link.filter(), beamHardeningObject);
    return filter.isUseZeroPixelsAsBadEnabled() && filter.isInterpolateBadPixelsEnabled();
}

// The values of a parameter that mean something; the filter itself takes any.
struct ParamRange {
    const char* name;
    double least;
    double most;
};

constexpr double unlimited = std::numeric_limits<double>::infinity();
constexpr std::array adaptiveRanges{
    ParamRange{"Interpolation", 0, 1},
    ParamRange{"Search", 0, 2},
    ParamRange{"PPBadPixelsDetectorMultiplicator", 0, unlimited},
    ParamRange{"PPMedianMin", 0, 1},
    ParamRange{"PPMedianMax", 0, 1},
    ParamRange{"QFBorderMaskSize", 0, unlimited},
    ParamRange{"QFTileSize", 0, unlimited},
    ParamRange{"QFTileThreshold", 0, 100},
};

std::string outsideRange(const std::string& filter, const ParamRange& range, double value) {
    if (value >= range.least && value <= range.most)
        return {};
    const std::string allowed = range.most == unlimited
                                    ? "below " + numberText(range.least)
                                    : "outside " + numberText(range.least) + " to " + numberText(range.most);
    return filter + ": " + range.name + " is " + numberText(value) + ", which is " + allowed +
           "; check the settings and -p";
}

} // namespace

std::string unseenZeroPixels(zt::u8 pixelType) {
    constexpr std::array seen{zt::DT_I16, zt::DT_U32, zt::DT_U64, zt::DT_DOUBLE};
    if (std::ranges::find(seen, pixelType) != seen.end())
        return {};
    return "Flat-Field: zero pixels are not found in frames of type " +
           std::string(pixelTypeName(pixelType)) +
           ", so dead pixels stay; calibrate with --bad ff to find them by their coefficients";
}

std::vector<std::string> warningsOn(Chain& chain, zt::u8 pixelType) {
    std::vector<std::string> warnings;
    const auto add = [&](const std::string& text) {
        if (!text.empty())
            warnings.push_back(text);
    };
    // Links after the first get doubles.
    if (FilterLink& first = chain.links().front(); first.name() == "Flat-Field") {
        const auto& filter = privateInterface<IFFFilter>(first.filter(), flatFieldObject);
        if (filter.interpolateBadAndMaskedPixels() && filter.useZeroPixelsForBadPixels())
            add(unseenZeroPixels(pixelType));
    }
    for (FilterLink& link : chain.links()) {
        zt::IParamMgr* const params = link.name() == "AdaptiveFF" ? link.filter().parameters() : nullptr;
        for (const ParamRange& range : adaptiveRanges)
            if (const zt::IParam* const param = params ? params->param(range.name) : nullptr)
                add(outsideRange(link.name(), range, param->getDouble()));
    }
    return warnings;
}

WorkerChains makeWorkerChains(Session& session, const RunOptions& options, zt::u64 frames, Console& console) {
    WorkerChains workers;
    if (!options.noChoice && std::ranges::count_if(options.filters, choosesGridPoints) == 1)
        workers.choices = std::make_unique<ChoiceLogs>();
    const auto addChain = [&] {
        workers.chains.push_back(makeChain(session, options, workers.choices.get(), workers.chains.size()));
    };
    const zt::u64 before = residentMemory();
    addChain();
    const zt::u64 grown = residentMemory() - std::min(before, residentMemory());
    workers.remember = std::ranges::any_of(workers.chains[0].links(), remembers);

    if (workers.remember && options.jobs > 1)
        console.message("one job: Beam-hardening with zero pixels as bad remembers from frame to frame");
    if (workers.remember)
        return workers;
    const zt::u64 wanted = std::min<zt::u64>(options.jobs, frames);
    constexpr zt::u64 spare = zt::u64{256} << 20; // for the frames, and for what else runs
    while (workers.chains.size() < wanted) {
        if (availableMemory() < grown + spare) {
            console.message(std::to_string(workers.chains.size()) + " of " + std::to_string(options.jobs) +
                            " jobs: there is no memory for more");
            break;
        }
        addChain();
    }
    return workers;
}

} // namespace ombrel
