#include "worker/RunningChain.h"

#include "base/Error.h"
#include "calibration/AdaptiveSettings.h"
#include "inspection/MeanDark.h"
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace ombrel::workbench {

namespace {

// Key and parameter of the adaptive filter.
constexpr const char* logKey = "LogQualityValuesFile";

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The recorder knows each link by its id.
std::size_t recordedAs(const LinkState& state) {
    return static_cast<std::size_t>(state.id);
}

bool choosesGridPoints(const LinkState& state) {
    return state.filter == adaptiveFilter;
}

// For the adaptive filter, the only one that writes files.
void setWrite(Settings& settings, const std::string& key, const std::string& text) {
    if (key == dumpKey)
        settings.setBool(adaptiveGroup, key.c_str(), text == "true");
    else
        settings.setString(adaptiveGroup, key.c_str(), text.c_str());
}

} // namespace

std::vector<LinkReport> RunningChain::follow(const ChainState& wanted) {
    std::vector<RunningLink> next;
    std::vector<LinkReport> reports;
    // End the removed filters first: the new ones may need their memory.
    std::erase_if(links, [&](const RunningLink& running) {
        return std::ranges::none_of(wanted.links, [&](const auto& link) { return running.isFor(link); });
    });
    for (const LinkState& state : wanted.links) {
        const auto found = std::ranges::find_if(links, [&](const auto& link) { return link.isFor(state); });
        const bool isNew = found == links.end();
        next.push_back(isNew ? makeLink(state) : std::move(*found));
        if (applyEdits(next.back(), state) || isNew)
            reports.push_back(next.back().report);
        next.back().state = state;
    }
    links = std::move(next);
    chooseDark();
    return reports;
}

RunningChain::RunningLink RunningChain::makeLink(const LinkState& wanted) {
    RunningLink running{wanted, host->makeLink(wanted.filter), {}, {}, {}, {}};
    running.state.params.clear();
    running.report.id = wanted.id;
    running.report.revision = wanted.revision;
    running.report.hasWindow = running.link.filter().hasConfigGUI();
    try {
        load(running);
    } catch (const Error& error) {
        running.report.failure = error.what();
    }
    running.report.params = paramCopiesOf(running.link.filter());
    for (const ParamCopy& copy : running.report.params)
        running.original[copy.name] = textOf(*running.link.filter().parameters()->param(copy.name.c_str()));
    for (ParamCopy& copy : running.report.params)
        if (const auto own = running.ownWrites.find(copy.name); own != running.ownWrites.end())
            copy.value = own->second;
    return running;
}

void RunningChain::load(RunningLink& running) {
    const LinkState& state = running.state;
    if (state.unsaved) {
        if (std::filesystem::exists(state.settings)) // saving keeps what the calibration stored there
            running.facts = {state.settings, factsOf(readSettings(state.settings), state.settings), {}};
        running.report.failure = loadInto(running.link.filter(), *state.unsaved);
        return;
    }
    if (state.settings.empty() || !std::filesystem::exists(state.settings))
        return; // default settings; the first frame shows whether they suffice
    SettingsSource source{state.settings, state.settings, {}};
    source.change = [&](Settings& settings) {
        running.facts = {state.settings, factsOf(settings.contents(), state.settings), {}};
        if (choosesGridPoints(state)) {
            running.ownWrites = discardWrites(settings);
            running.ownWrites.try_emplace(logKey); // the recorder may set one
            choices.prepare(recordedAs(state), running.link, settings, "");
        }
    };
    running.link.loadSettings(source);
}

bool RunningChain::applyEdits(RunningLink& running, const LinkState& wanted) {
    const auto before = std::move(running.state.params);
    running.state.params = wanted.params;
    if (before == wanted.params)
        return false;
    const auto start = Clock::now();
    std::string troubles;
    for (const auto& [name, text] : running.original) {
        if (makesAWrite(name))
            continue;
        const auto was = before.find(name);
        const auto now = wanted.params.find(name);
        const std::string& textNow = now == wanted.params.end() ? text : now->second;
        if (textNow != (was == before.end() ? text : was->second))
            troubles += setParam(running, name, textNow);
    }
    running.report.editSeconds = secondsSince(start);
    running.report.isEdited = true;
    running.report.editTrouble = troubles;
    return true;
}

std::string RunningChain::setParam(RunningLink& running, const std::string& name, const std::string& text) {
    try {
        running.link.setParam(name + "=" + text);
        return {};
    } catch (const Error& error) {
        return std::string(error.what()) + "\n";
    }
}

// The same as a run's; a message of a run that cannot start is the reason why no frame is corrected.
void RunningChain::chooseDark() {
    std::vector<LinkFacts> facts;
    for (const RunningLink& running : links)
        if (running.state.enabled && !running.facts.settings.empty())
            facts.push_back(running.facts);
    darkFailure.clear();
    try {
        dark = darkOfCalibrations(facts);
    } catch (const Error& error) {
        darkFailure = error.what();
    }
}

void RunningChain::subtractDark(Frame& frame) const {
    if (!darkFailure.empty())
        throw Error(darkFailure);
    if (!dark)
        return;
    checkDarkSize(*dark, frame.width(), frame.height(), frame.frameName());
    frame.subtract(dark->mean);
}

FrameResult RunningChain::apply(FramePtr frame) {
    FrameResult result{std::move(frame), {}};
    for (RunningLink& running : links) {
        if (!running.state.enabled)
            continue;
        if (!running.report.failure.empty())
            return {nullptr, running.report.failure};
        result = running.link.apply(std::move(result.frame), ApplyMode::Copy);
        if (!result) {
            result.failure = running.link.name() + ": " + result.failure;
            return result;
        }
    }
    return result;
}

std::vector<FilterLink*> RunningChain::activeLinks() {
    std::vector<FilterLink*> active;
    for (RunningLink& running : links)
        if (running.state.enabled && running.report.failure.empty())
            active.push_back(&running.link);
    return active;
}

std::vector<LoadedLink> RunningChain::loadedLinks() {
    std::vector<LoadedLink> loaded;
    for (RunningLink& running : links)
        if (running.state.enabled && running.report.failure.empty()) {
            const std::string file = running.state.unsaved ? "" : running.state.settings;
            loaded.push_back({&running.link, file, file});
        }
    return loaded;
}

std::optional<SelectedFlatField> RunningChain::choice() {
    for (RunningLink& running : links)
        if (running.state.enabled && choosesGridPoints(running.state))
            return choices.read(recordedAs(running.state), running.link, choicesRead++);
    return std::nullopt;
}

void RunningChain::saveSettings(int id, const std::string& path) {
    const auto found =
        std::ranges::find_if(links, [=](const RunningLink& running) { return running.state.id == id; });
    if (found == links.end())
        throw Error(path + ": this filter has been removed from the chain");
    const auto store = host->host().openSettings(path);
    const std::string& source = found->state.settings;
    if (!source.empty() && std::filesystem::exists(source))
        store->loadFile(source);
    if (found->link.filter().saveToSettings(store.get()) != 0)
        throw Error(path + ": " + found->link.name() + " returned no settings");
    for (const auto& [key, text] : found->ownWrites)
        setWrite(*store, key, text);
    for (const auto& [key, text] : found->state.params)
        if (makesAWrite(key))
            setWrite(*store, key, text);
    store->saveFile();
}

} // namespace ombrel::workbench
