#pragma once

#include "settings/Settings.h"
#include "zt/Types.h"

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The files that a filter reads in addition to its settings file: NAME.bin next to NAME.xml, and files that
// the settings name. A key that begins with "Log" names a file that the filter writes.
std::vector<std::string> filesUsedBy(const SettingsTree& settings, const std::string& path);

// The calibration heap of a settings file: NAME.bin next to NAME.xml.
std::string heapPathOf(const std::string& settingsPath);

// Settings made together with a heap store its hash, so that a pair of which only one file was replaced is
// refused. `heapFile` is the current path of the heap's contents. Throws Error.
void noteHeap(SettingsTree& settings, const std::string& heapFile);
// Throws Error if the hash in the settings differs from that of the heap next to `settingsPath`. Settings
// without a hash, as those of other hosts, accept every heap.
void checkHeap(const SettingsTree& settings, const std::string& settingsPath);

// A calibration stores the hash of the filters' groups as it left them, with what it knows of them: when a
// dialog or an editor has changed them since, that no longer applies.
void noteFilterGroups(SettingsTree& settings);
enum class FilterGroups {
    Unknown, // the settings hold no hash
    AsCalibrated,
    Changed,
};
FilterGroups filterGroupsOf(const SettingsTree& settings);
// The message that the settings, which belong to FilterGroups::Changed, were changed.
std::string changedSinceCalibration(const std::string& path);

// Whether a file begins like XML; no frame file does.
bool looksLikeSettings(const std::string& path);
// The description of a settings file for `ombrel info`. Throws Error if checkHeap() does.
std::string settingsReportText(const SettingsTree& settings, const std::string& path);

// A parsed "FILTER:PARAM=VALUE". All parts are empty if the text has another form.
struct ParamAssignment {
    std::string filter;
    std::string param;
    std::string value;

    explicit ParamAssignment(const std::string& text);
    // The file that the value names for reading, by the rule of filesUsedBy(); empty if it names none.
    std::string fileUsed() const;
};

// Settings items and parameters that make a filter write files.
bool namesLogFile(std::string_view key);
// Whether a key or parameter only affects what the filter writes besides its frames.
bool makesAWrite(std::string_view key);
// Makes a filter that loads these settings write nothing but its frames. Returns the old values, as texts by
// key.
std::map<std::string, std::string> discardWrites(Settings& settings);
// If this key is true, the filter writes images into the working directory...
inline constexpr std::string_view dumpKey = "DumpCompensationImages";
// ...with names of this form.
bool isDumpName(const std::string& name);

// The values of the grid of a calibration heap, on the axes of V, T and E. Throws Error.
std::array<std::vector<float>, 3> heapAxes(const std::string& heapPath);

// With --force, an existing settings file of any filter is replaced. Throws Error for a file that does not
// read as settings: a mistyped name must not cost measured frames.
void checkSettingsOutput(const std::string& output);

// Why settings do not fit frames of that size, so that every frame would fail. The text names both sizes, and
// is empty if they fit. `path` is that of the settings file; the adaptive filter's heap is next to it.
std::string misfit(const SettingsTree& settings, const std::string& path, zt::u32 width, zt::u32 height);

} // namespace ombrel
