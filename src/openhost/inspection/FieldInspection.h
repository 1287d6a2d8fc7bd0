#pragma once

#include "base/CommandPaths.h"
#include "base/Console.h"
#include "inspection/FlatInspection.h"
#include "inspection/InspectionReport.h"
#include "settings/Settings.h"
#include "stack/FrameStack.h"
#include "zt/Types.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The options of a command on the judging of its flat fields.
struct InspectionOptions {
    InspectionLimits limits;
    bool keepAll = false; // frames that fail are used
    std::string exclude;  // "3,7-9": these frames are not used, counted through all inputs
    std::string only;     // likewise: no others are used
    std::string report;   // FILE.json or FILE.html
    // Called with the reports, for a window that shows them.
    std::function<void(const std::vector<InspectionReport>& reports)> finished;
};

// Throws UsageError.
void checkInspection(const InspectionOptions& options);
void addInspectionPaths(CommandPaths& paths, const InspectionOptions& options, WhenThere whenThere);

// The frames that a text like "3,7-9" names, in ascending order. Throws UsageError with the option.
std::vector<zt::u64> parseFrameList(const std::string& option, const std::string& text);

// Dark frames, and those of them that are good.
struct JudgedDarks {
    std::unique_ptr<FrameStack> stack;
    std::vector<std::size_t> good; // all, if frames that fail are used
};

// Judges the sets of frames of a command one after the other, and says what fails.
class FieldInspection {
public:
    FieldInspection(const InspectionOptions& inspectionOptions, Console& messages)
        : options(inspectionOptions), console(messages) {}

    // The fields of the set to use, as indexes. Throws Error if they are fewer than half of those judged.
    std::vector<std::size_t> judge(const FieldSet& set);
    // Judges the dark frames of files that mark some, one file after the other.
    std::vector<JudgedDarks> judgeDarks(const std::vector<std::string>& paths);
    // Judges all frames of a file, or those that it marks as dark.
    std::vector<JudgedDarks> judgeDarkFile(const std::string& path);

    // What all sets show together; writes the report. To be called when all sets are judged. Throws
    // UsageError if a frame that was chosen by hand does not exist, and Error.
    void finish();
    // Adds verdicts and levels to the settings, and the hash of the filters' groups.
    void note(SettingsTree& settings) const;

    const std::vector<InspectionReport>& reports() const { return all; }
    // "17 of 20 frames", or "20 frames" if all are used.
    std::string countText(std::string_view noun) const;

private:
    JudgedDarks judged(std::unique_ptr<FrameStack> stack);
    std::vector<std::size_t> chosenByHand(std::size_t count);
    // For a page or a window.
    bool wantsThumbnails() const { return options.finished || needsThumbnails(options.report); }
    void announce(const InspectionReport& report);
    void announceUnjudged();
    void writeReports() const;

    const InspectionOptions& options;
    Console& console;
    std::vector<InspectionReport> all;
    zt::u64 counted = 0; // frames of all sets so far
    std::size_t used = 0;
};

// All frames of a stack as one set.
FieldSet fieldSetOf(FrameStack& stack, const std::string& name);

} // namespace ombrel
