#include "host/Chain.h"

#include "base/Error.h"
#include "host/Host.h"
#include "host/Param.h"
#include "settings/SettingsFiles.h"
#include "zt/String.h"
#include "zt/Types.h"

#include <new>
#include <optional>
#include <vector>

namespace ombrel {

namespace {

// The result of a call into a filter, with the lines it logged, which are withheld from the host's log.
struct Outcome {
    std::optional<std::string> exception; // the text of an exception that the filter threw
    std::vector<std::string> lines;
    std::string frameError; // the host's last failure to provide a frame

    bool isClean() const { return !exception && lines.empty(); }

    // The reason of a failure, in one line; `otherwise` if no reason is known.
    std::string reason(const std::string& otherwise) const {
        std::string all;
        const auto append = [&](const std::string& text, const char* between) {
            all += (all.empty() ? "" : between) + text;
        };
        for (const std::string& line : lines)
            append(line, "; ");
        if (exception)
            append(*exception, "; ");
        if (all.empty())
            append(otherwise, "");
        if (!frameError.empty())
            append(frameError, ": ");
        return all;
    }
};

template <typename Call>
Outcome callGuarded(Host& host, Call call) {
    Outcome outcome;
    host.frames().takeError(); // discard that of an earlier call
    const LogCapture capture;
    try {
        call();
    } catch (const std::bad_alloc&) {
        outcome.exception = "not enough memory";
    } catch (const std::exception& error) {
        outcome.exception = error.what();
    } catch (...) {
        outcome.exception = "an exception of unknown type";
    }
    outcome.lines = capture.lines();
    outcome.frameError = host.frames().takeError();
    return outcome;
}

// Passes the lines to the log, after a successful call.
void passOn(Host& host, const Outcome& outcome) {
    for (const std::string& line : outcome.lines)
        host.logLine(line);
}

zt::IDataFilter& registeredFilter(Host& host, const zt::IDev& device, const std::string& name) {
    std::string known;
    for (zt::IDataFilter* const filter : host.filters().filtersOf(device)) {
        const std::string each = filterName(*filter);
        if (each == name)
            return *filter;
        known += (known.empty() ? "\"" : ", \"") + each + "\"";
    }
    if (known.empty())
        known = "none for a device of type " + std::to_string(device.deviceType());
    throw UnknownFilter("unknown filter \"" + name + "\"; known filters: " + known);
}

zt::IParam& parameterOf(const zt::IDataFilter& filter, const std::string& name) {
    zt::IParamMgr* const manager = filter.parameters();
    if (zt::IParam* const param = manager ? manager->param(name.c_str()) : nullptr)
        return *param;
    zt::PtrList<zt::IParam*> all;
    if (manager)
        manager->params(&all);
    std::string known;
    for (const zt::IParam* const param : all.vect())
        known += (known.empty() ? "" : ", ") + std::string(param->name());
    throw UsageError("unknown parameter \"" + name +
                     "\"; known parameters: " + (known.empty() ? "none" : known));
}

// The frame that a filter made from `input`, with its reference; null if it is not a new frame.
FramePtr takeOver(zt::IData* data, const Frame* input) {
    if (data == input || data->type() != zt::IData::TYPE_FRAME)
        return nullptr;
    return FramePtr(dynamic_cast<Frame*>(static_cast<zt::IMpxFrame*>(data)));
}

FrameResult correctCopy(Host& host, zt::IDataFilter& filter, const Frame& frame) {
    zt::IData* answer = nullptr;
    const Outcome outcome = callGuarded(host, [&] { answer = filter.filter(&frame); });
    if (!answer)
        return {nullptr, outcome.reason("the filter returned no frame")};
    FrameResult result{takeOver(answer, &frame), {}};
    if (!result)
        result.failure = outcome.reason("the filter did not return a new frame");
    else
        passOn(host, outcome);
    return result;
}

FrameResult correctInPlace(Host& host, zt::IDataFilter& filter, FramePtr frame) {
    int answer = zt::ERR_NONE;
    frame->makeOwn(); // the filter writes into it
    frame->forgetConversion();
    const Outcome outcome = callGuarded(host, [&] { answer = filter.filterReplace(frame.get()); });
    if (outcome.exception || answer != zt::ERR_NONE)
        return {nullptr, outcome.reason("the filter returned " + std::to_string(answer))};
    if (!frame->convertedToDouble())
        return {nullptr, outcome.reason("the filter left the frame unchanged")};
    passOn(host, outcome);
    return {std::move(frame), {}};
}

} // namespace

std::string filterName(const zt::IDataFilter& filter) {
    zt::String name;
    filter.filterNameStr(&name);
    return name.get();
}

FilterLink::FilterLink(Host& zenteo, const zt::IDev& device, const std::string& wantedName)
    : host(&zenteo), ownName(wantedName) {
    const zt::IDataFilter& registered = registeredFilter(zenteo, device, wantedName);
    const Outcome outcome = callGuarded(zenteo, [&] { instance.reset(registered.createNewInstance()); });
    if (!instance)
        throw Error(ownName +
                    ": no instance could be created: " + outcome.reason("the filter returned none"));
    passOn(zenteo, outcome);
}

void FilterLink::loadSettings(const SettingsSource& source) {
    const std::unique_ptr<Settings> store = host->openSettings(source.path);
    store->loadFile(source.contents);
    if (source.checksHeap)
        checkHeap(store->contents(), source.path);
    settingsFiles = filesUsedBy(store->contents(), source.path);
    remark = filterGroupsOf(store->contents()) == FilterGroups::Changed ? changedSinceCalibration(source.path)
                                                                        : std::string();
    if (source.change)
        source.change(*store);
    int answer = zt::ERR_NONE;
    const Outcome outcome = callGuarded(*host, [&] { answer = instance->loadFromSettings(store.get()); });
    if (!outcome.isClean() || answer != zt::ERR_NONE)
        throw Error(ownName + ": settings " + source.path + ": " +
                    outcome.reason("the filter returned " + std::to_string(answer)));
}

void FilterLink::setParam(const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos)
        throw UsageError(ownName + ": \"" + assignment + "\" is not of the form PARAM=VALUE");
    std::optional<UsageError> mistake; // an error of the user, not of the filter
    const Outcome outcome = callGuarded(*host, [&] {
        try {
            setParamFromText(parameterOf(*instance, assignment.substr(0, equals)),
                             assignment.substr(equals + 1));
        } catch (const UsageError& error) {
            mistake = error;
        }
    });
    if (mistake)
        throw UsageError(ownName + ": " + mistake->what());
    if (!outcome.isClean())
        throw Error(ownName + ": " + outcome.reason(""));
}

FrameResult FilterLink::apply(FramePtr frame, ApplyMode mode) {
    frame->zeroRoom();
    FrameResult result = mode == ApplyMode::Replace ? correctInPlace(*host, *instance, std::move(frame))
                                                    : correctCopy(*host, *instance, *frame);
    corrected = static_cast<bool>(result);
    return result;
}

FilterLink& Chain::add(FilterLink link) {
    return filters.emplace_back(std::move(link));
}

void Chain::setParam(const std::string& assignment) {
    bool found = false;
    for (FilterLink& link : filters) {
        const std::string prefix = link.name() + ":";
        if (!assignment.starts_with(prefix))
            continue;
        link.setParam(assignment.substr(prefix.size()));
        found = true;
    }
    if (found)
        return;
    std::string known;
    for (const FilterLink& link : filters)
        known += (known.empty() ? "" : ", ") + link.name();
    throw UsageError("\"" + assignment +
                     "\" is not of the form FILTER:PARAM=VALUE with a filter of the chain (" + known + ")");
}

FrameResult Chain::apply(FramePtr frame, ApplyMode mode) {
    FrameResult result{std::move(frame), {}};
    for (FilterLink& link : filters) {
        result = link.apply(std::move(result.frame), mode);
        if (!result) {
            result.failure = link.name() + ": " + result.failure;
            break;
        }
        if (mode == ApplyMode::CopyOnce)
            mode = ApplyMode::Replace;
    }
    return result;
}

} // namespace ombrel
