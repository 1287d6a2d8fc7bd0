#include "run/WorkerChains.h"

#include "base/Numbers.h"
#include "base/Resources.h"
#include "frame/PixelType.h"
#include "host/Device.h"
#include "host/Session.h"
#include "run/RunSetup.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFiles.h"
#include "uncertainty/SigmaModel.h"
#include "zt/IPrivateFilters.h"
#include "zt/Types.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view choiceParam = "AdaptiveFF:LogQualityValuesFile=";

bool choosesGridPoints(const LinkOptions& link) {
    return link.name == "AdaptiveFF" && !link.settings.empty();
}

// Whether a parameter only affects what the filter writes besides its frames.
bool setsAWrite(const std::string& assignment) {
    return makesAWrite(ParamAssignment(assignment).param);
}

// The file for the log of quality values that the options name, empty for none; nothing if the settings do.
std::optional<std::string> wantedLog(const RunOptions& options) {
    if (options.discardLogs)
        return std::string();
    std::optional<std::string> file;
    for (const std::string& assignment : options.params)
        if (assignment.starts_with(choiceParam))
            file = assignment.substr(choiceParam.size());
    return file;
}

// `made` is the worker's link, which loads the settings.
SettingsSource sourceOf(const RunOptions& options, const Device& device, const LinkOptions& link,
                        const FilterLink& made, WorkerChains& workers) {
    const std::size_t worker = workers.chains.size();
    SettingsSource source{link.settings, link.contents, {}, worker == 0};
    source.change = [=, &options, &device, &link, &made, &workers](Settings& settings) {
        if (worker == 0)
            workers.facts.push_back({link.settings, factsOf(settings.contents(), link.settings),
                                     filterGroupsOf(settings.contents())});
        const std::string wrong = misfit(settings.contents(), link.settings, device.width(), device.height());
        if (!wrong.empty())
            throw Misfit(wrong);
        if (options.discardLogs)
            discardWrites(settings);
        if (workers.choices && choosesGridPoints(link))
            workers.choices->prepare(worker, made, settings, wantedLog(options));
    };
    return source;
}

// All settings are loaded before the first parameter is set.
Chain makeChain(Session& session, const RunOptions& options, WorkerChains& workers) {
    Chain chain;
    for (const LinkOptions& link : options.links) {
        FilterLink& made = chain.add(session.makeLink(link.name));
        if (!link.settings.empty())
            made.loadSettings(sourceOf(options, session.device(), link, made, workers));
    }
    for (const std::string& assignment : options.params) {
        if (options.discardLogs && setsAWrite(assignment))
            continue;
        if (!workers.choices || !assignment.starts_with(choiceParam))
            chain.setParam(assignment);
    }
    return chain;
}

// Beam hardening with zero pixels as bad: values filled into one frame affect the next.
bool remembers(FilterLink& link) {
    if (link.name() != "Beam-hardening")
        return false;
    auto& filter = filterInterface<IBHFilter>(link.filter(), beamHardeningObject);
    return filter.isUseZeroPixelsAsBadEnabled() && filter.isInterpolateBadPixelsEnabled();
}

// Whether the filter writes files of its own, which several instances would overwrite for each other.
// `ownLogs`: its log of quality values is in memory.
bool writesFiles(const FilterLink& link, bool ownLogs) {
    zt::PtrList<zt::IParam*> params;
    if (const zt::IParamMgr* const manager = link.filter().parameters())
        manager->params(&params);
    return std::ranges::any_of(params.vect(), [&](const zt::IParam* param) {
        const std::string name = param->name();
        if (!makesAWrite(name) || (ownLogs && choiceParam == link.name() + ":" + name + "="))
            return false;
        if (name == dumpKey)
            return param->getBool();
        zt::String file;
        param->getString(&file);
        return file.get() != std::string() && file.get() != std::string("/dev/null");
    });
}

// Without a wish of the user, the number that is fastest and changes nothing that is written.
unsigned usualJobs(Chain& chain, bool ownLogs) {
    const bool isAlone =
        std::ranges::any_of(chain.links(), [&](FilterLink& link) { return writesFiles(link, ownLogs); });
    return isAlone ? 1 : availableProcessors();
}

// The useful values of a parameter; the filter itself accepts any.
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
    if (findsZeroPixels(pixelType))
        return {};
    return "Flat-Field: zero pixels are not found in frames of type " +
           std::string(pixelTypeName(pixelType)) +
           ", so dead pixels stay; calibrate with --bad ff to find them by their coefficients";
}

std::vector<std::string> warningsOn(RunSetup& setup) {
    Chain& chain = setup.workers.chains[0];
    const zt::u8 pixelType = setup.dark ? zt::u8{zt::DT_DOUBLE} : setup.stack.pixelType(setup.range.begin);
    std::vector<std::string> warnings;
    const auto add = [&](const std::string& text) {
        if (!text.empty())
            warnings.push_back(text);
    };
    // Links after the first receive doubles.
    if (FilterLink& first = chain.links().front(); first.name() == "Flat-Field") {
        const auto& filter = filterInterface<IFFFilter>(first.filter(), flatFieldObject);
        if (filter.interpolateBadAndMaskedPixels() && filter.useZeroPixelsForBadPixels())
            add(unseenZeroPixels(pixelType));
    }
    for (FilterLink& link : chain.links()) {
        add(link.settingsRemark());
        zt::IParamMgr* const params = link.name() == "AdaptiveFF" ? link.filter().parameters() : nullptr;
        for (const ParamRange& range : adaptiveRanges)
            if (const zt::IParam* const param = params ? params->param(range.name) : nullptr)
                add(outsideRange(link.name(), range, param->getDouble()));
    }
    return warnings;
}

WorkerChains makeWorkerChains(Session& session, const RunOptions& options, zt::u64 frames, Console& console) {
    WorkerChains workers;
    if (!options.noChoice && std::ranges::count_if(options.links, choosesGridPoints) == 1) {
        workers.choices = std::make_unique<ChoiceRecorder>();
        const auto chooser = std::ranges::find_if(options.links, choosesGridPoints);
        workers.chooser = static_cast<std::size_t>(chooser - options.links.begin());
    }
    const auto addChain = [&] { workers.chains.push_back(makeChain(session, options, workers)); };
    const zt::u64 before = residentMemory();
    addChain();
    const zt::u64 grown = residentMemory() - std::min(before, residentMemory());
    workers.remember = std::ranges::any_of(workers.chains[0].links(), remembers);

    const unsigned jobs = options.jobs.value_or(usualJobs(workers.chains[0], workers.choices != nullptr));
    if (workers.remember && options.jobs && jobs > 1)
        console.message("one job: Beam-hardening with zero pixels as bad carries state from frame to frame");
    if (workers.remember)
        return workers;
    const zt::u64 wanted = std::min<zt::u64>(jobs, frames);
    constexpr zt::u64 spare = zt::u64{256} << 20; // for frames that wait, and for other programs
    // A worker holds its frame before and after a filter.
    const zt::u64 frameBytes =
        2 * sizeof(double) * zt::u64{session.device().width()} * session.device().height();
    while (workers.chains.size() < wanted) {
        if (availableMemory() < grown + (workers.chains.size() + 1) * frameBytes + spare) {
            console.message(std::to_string(workers.chains.size()) + " of " + std::to_string(jobs) +
                            " jobs: not enough memory for more");
            break;
        }
        addChain();
    }
    return workers;
}

} // namespace ombrel
