#include "standalone/cli/WorkerChains.h"

#include "host/IBHFilter.h"
#include "standalone/BatchMemory.h"
#include "standalone/Settings.h"
#include "standalone/SettingsFiles.h"
#include "standalone/cli/MakeRecord.h"
#include "standalone/cli/PrivateInterface.h"

#include <algorithm>
#include <string_view>

namespace ombrel::cli {

namespace {

constexpr std::string_view choiceParam = "AdaptiveFF:LogQualityValuesFile=";

bool choosesGridPoints(const std::string& filter) {
    return filter.starts_with("AdaptiveFF=");
}

// The filter then writes nothing but its frames.
void discardLogs(Settings& settings) {
    const SettingsTree before = settings.contents();
    for (const SettingsGroup& group : before.groups)
        for (const SettingsItem& item : group.items) {
            const auto* const file = std::get_if<std::string>(&item.value);
            if (file && !file->empty() && namesLogFile(item.key))
                settings.setString(group.name.c_str(), item.key.c_str(), "/dev/null");
            if (item.key == dumpKey)
                settings.setBool(group.name.c_str(), item.key.c_str(), false);
        }
}

// A parameter that only decides what the filter writes besides its frames.
bool setsAWrite(const std::string& assignment) {
    const std::string param = ParamAssignment(assignment).param;
    return namesLogFile(param) || param == dumpKey;
}

SettingsSource sourceOf(const RunOptions& options, std::size_t link, ChoiceLogs* choices,
                        std::size_t worker) {
    SettingsSource source = settingsOf(options, link);
    source.change = [=, &options](Settings& settings) {
        if (options.discardLogs)
            discardLogs(settings);
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
        SettingsSource source = sourceOf(options, i, choices, worker);
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

} // namespace

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

} // namespace ombrel::cli
