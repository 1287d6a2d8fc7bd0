#pragma once

#include "base/Error.h"
#include "frame/Frame.h"
#include "host/Host.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ombrel {

class Host;
class Settings;

// An unknown filter was requested; the text lists the known ones.
class UnknownFilter : public UsageError {
    using UsageError::UsageError;
};

// The short name of a filter, for users.
std::string filterName(const zt::IDataFilter& filter);

// How a filter corrects a frame: as a copy or in place; or, in a chain, the first filter as a copy and the
// others that copy in place.
enum class ApplyMode { Copy, Replace, CopyOnce };

// A corrected frame, or null and the reason in one line.
struct FrameResult {
    FramePtr frame;
    std::string failure;

    explicit operator bool() const { return frame != nullptr; }
};

// The settings to load into a filter.
struct SettingsSource {
    std::string path;                               // the path that the filter gets as its settings file
    std::string contents;                           // the file that is really read
    std::function<void(Settings& settings)> change; // applied to the settings after reading; may be empty
    bool checksHeap = true;                         // see checkHeap(); one check serves equal links
};

// One filter of a chain: a separate instance. All calls into it are guarded against exceptions. Lines that
// the filter logs become part of the text of a failure; without a failure they are passed to the host's log.
//
// The link must be destroyed before its host.
class FilterLink {
public:
    // A new instance of the filter with that name that is registered for the device. Throws UnknownFilter if
    // the name is unknown, and Error if the instance could not be created.
    FilterLink(Host& zenteo, const zt::IDev& device, const std::string& wantedName);

    const std::string& name() const { return ownName; }
    zt::IDataFilter& filter() const { return *instance; }

    // Loads the filter from a settings file. Throws Error if the file is invalid or does not match its heap,
    // or if the filter returns anything but 0, throws or logs a line.
    void loadSettings(const std::string& path) { loadSettings(SettingsSource{path, path, {}}); }
    void loadSettings(const SettingsSource& source);
    // The other files that the filter read; see filesUsedBy().
    const std::vector<std::string>& filesRead() const { return settingsFiles; }

    // A message if the settings were changed since they were calibrated; else empty.
    const std::string& settingsRemark() const { return remark; }

    // "PARAM=VALUE". Throws UsageError if the parameter is unknown (listing the known ones) or read-only, or
    // the value does not read as its type, and Error if the filter throws or logs a line during the change.
    void setParam(const std::string& assignment);

    // Passes the frame to the filter, with the room after its pixels zeroed. If in-place correction returns 0
    // without having converted the frame to double, the filter has refused it.
    FrameResult apply(FramePtr frame, ApplyMode mode);
    // Whether the filter has corrected its latest frame, and this is the first call since then.
    bool takeCorrected() { return std::exchange(corrected, false); }

private:
    Host* host;
    std::string ownName;
    FilterPtr instance;
    std::vector<std::string> settingsFiles;
    std::string remark;
    bool corrected = false;
};

// Filters in the order in which they process a frame.
class Chain {
public:
    FilterLink& add(FilterLink link);
    std::vector<FilterLink>& links() { return filters; }

    // "FILTER:PARAM=VALUE", for every link with that name. Throws like FilterLink::setParam(), and UsageError
    // if the chain has no such filter.
    void setParam(const std::string& assignment);

    // The frame after the last filter, or the first failure, prefixed with the filter's name. A chain without
    // filters returns the frame unchanged.
    FrameResult apply(FramePtr frame, ApplyMode mode);

private:
    std::vector<FilterLink> filters;
};

} // namespace ombrel
