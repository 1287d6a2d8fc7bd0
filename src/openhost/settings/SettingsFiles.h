#pragma once

#include "settings/Settings.h"
#include "zt/Types.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The files that a filter reads besides its settings file: NAME.bin beside NAME.xml, and what the settings
// name. A key that begins with "Log" names a file that the filter writes.
std::vector<std::string> filesUsedBy(const SettingsTree& settings, const std::string& path);

// The calibration heap of a settings file: NAME.bin beside NAME.xml.
std::string heapPathOf(const std::string& settingsPath);

// Settings made together with a heap note its hash, so that a pair of which only one file was replaced is not
// used. `heapFile` is where the heap's contents are now. Throws Error.
void noteHeap(SettingsTree& settings, const std::string& heapFile);
// Throws Error when the settings note another heap than the one beside `settingsPath`. Settings that note
// none, as those of other hosts, fit every heap.
void checkHeap(const SettingsTree& settings, const std::string& settingsPath);

// Whether a file begins as XML does, which no frame file does.
bool looksLikeSettings(const std::string& path);
// What a settings file holds, as `ombrel info` shows it. Throws Error, also where checkHeap() does.
std::string settingsReportText(const std::string& path);

// A "FILTER:PARAM=VALUE" taken apart. A text of another form has no parts.
struct ParamAssignment {
    std::string filter;
    std::string param;
    std::string value;

    explicit ParamAssignment(const std::string& text);
    // The file that it names to be read, by the same rule; empty when it names none.
    std::string fileUsed() const;
};

// What a settings item or a parameter makes its filter write.
bool namesLogFile(std::string_view key);
// True for a key, or a parameter, that only decides what the filter writes besides its frames.
bool makesAWrite(std::string_view key);
// Lets a filter that loads these settings write nothing but its frames. Returns what was set, as texts by
// key.
std::map<std::string, std::string> discardWrites(Settings& settings);
// With this key on, the filter writes images into the working directory...
inline constexpr std::string_view dumpKey = "DumpCompensationImages";
// ...whose names are of this form.
bool isDumpName(const std::string& name);

// A settings file that exists is replaced, of whatever filter it is, once --force was given. Throws Error for
// one that does not read as settings: a mistyped name must not cost measured frames.
void checkSettingsOutput(const std::string& output);

// Why settings cannot serve frames of that size, whatever the frames hold: each of them would fail. Both
// sizes are in the text, which is empty when nothing speaks against it. `path` is the settings file's, beside
// which the adaptive filter's heap is.
std::string misfit(const SettingsTree& settings, const std::string& path, zt::u32 width, zt::u32 height);

} // namespace ombrel
