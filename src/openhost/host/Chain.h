#pragma once

#include "base/Error.h"
#include "frame/Frame.h"
#include "host/Host.h"

#include <functional>
#include <string>
#include <vector>

namespace ombrel {

class Host;
class Settings;

// A filter was asked for by a name that none has; the text lists those there are.
class UnknownFilter : public UsageError {
    using UsageError::UsageError;
};

// The short name of a filter, by which users call it.
std::string filterName(const zt::IDataFilter& filter);

// How a filter is asked: for a corrected copy, or to correct in place.
enum class ApplyMode { Copy, Replace };

// A corrected frame, or none and the reason in one line.
struct FrameResult {
    FramePtr frame;
    std::string failure;

    explicit operator bool() const { return frame != nullptr; }
};

// Settings on their way into a filter.
struct SettingsSource {
    std::string path;                               // what the filter takes for its settings file
    std::string contents;                           // the file that is read
    std::function<void(Settings& settings)> change; // of what was read; may be empty
    bool checksHeap = true;                         // see checkHeap(); once is enough for equal links
};

// One filter of a chain, an instance of its own. All calls into it stand under a catch. Lines that the filter
// logs become part of the failure's text; when nothing failed they go on to the host's log.
//
// The link must end before its host.
class FilterLink {
public:
    // A new instance of the filter of that name that is registered for the device. Throws UnknownFilter when
    // there is none, and Error when it could not be made.
    FilterLink(Host& zenteo, const zt::IDev& device, const std::string& wantedName);

    const std::string& name() const { return ownName; }
    zt::IDataFilter& filter() const { return *instance; }

    // Loads the filter from a settings file. Throws Error when the file is not one or does not fit its heap,
    // or when the filter answers anything but 0, throws or logs a line.
    void loadSettings(const std::string& path) { loadSettings(SettingsSource{path, path, {}}); }
    void loadSettings(const SettingsSource& source);
    // The files that the filter read besides; see filesUsedBy().
    const std::vector<std::string>& filesRead() const { return settingsFiles; }

    // "PARAM=VALUE". Throws UsageError when the parameter is unknown (with the list of those there are) or
    // read-only, or the value does not read as its type, and Error when the filter throws or logs a line at
    // the change.
    void setParam(const std::string& assignment);

    // Hands the frame to the filter, with the room behind its pixels zeroed. In-place correction that answers
    // 0 without having converted the frame to double is a refusal.
    FrameResult apply(FramePtr frame, ApplyMode mode);

private:
    Host* host;
    std::string ownName;
    FilterPtr instance;
    std::vector<std::string> settingsFiles;
};

// Filters in the order in which a frame goes through them.
class Chain {
public:
    FilterLink& add(FilterLink link);
    std::vector<FilterLink>& links() { return filters; }

    // "FILTER:PARAM=VALUE", for every link of that name. Throws as FilterLink::setParam, and UsageError when
    // the chain has no such filter.
    void setParam(const std::string& assignment);

    // The frame after the last filter, or the failure of the first one that failed, led in by its name. A
    // chain without filters gives the frame as it is.
    FrameResult apply(FramePtr frame, ApplyMode mode);

private:
    std::vector<FilterLink> filters;
};

} // namespace ombrel
