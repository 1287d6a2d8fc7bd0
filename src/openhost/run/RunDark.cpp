#include "run/RunDark.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "inspection/MeanDark.h"
#include "run/RunSetup.h"

#include <algorithm>

namespace ombrel {

namespace {

bool carriesDark(const LinkFacts& link) {
    return link.calibration.dark.has_value();
}

} // namespace

std::optional<DarkField> darkOfCalibrations(const std::vector<LinkFacts>& links) {
    const auto first = std::ranges::find_if(links, carriesDark);
    if (first == links.end())
        return std::nullopt;
    for (const LinkFacts& link : links)
        if (carriesDark(link) && link.calibration.dark->hash != first->calibration.dark->hash)
            throw Error(first->settings + " and " + link.settings +
                        ": were calibrated with different darks; calibrate again with the same dark, or "
                        "give the dark of these frames by --dark FILE");
    return first->calibration.dark;
}

namespace {

std::string missingDarks(const std::vector<LinkFacts>& links) {
    const auto first = std::ranges::find_if(links, carriesDark);
    const auto without = std::ranges::find_if_not(links, carriesDark);
    if (first == links.end() || without == links.end())
        return {};
    return without->settings + ": was calibrated without the dark that " + first->settings +
           " carries and that is subtracted; calibrate both with the same dark";
}

std::optional<DarkField> chosenDark(const RunSetup& setup, Console& console) {
    if (setup.options.dark == noDark)
        return std::nullopt;
    if (setup.options.dark == ownDark) {
        console.warning(missingDarks(setup.workers.facts));
        return darkOfCalibrations(setup.workers.facts);
    }
    const InspectionOptions inspectionOptions;
    FieldInspection inspection(inspectionOptions, console);
    return measureDark(setup.options.dark, {}, inspection);
}

} // namespace

// Dark frames of the inputs are not used without a word, unless the user said so.
std::string unusedDarks(const RunSetup& setup) {
    if (setup.options.dark != ownDark || setup.dark)
        return {};
    return setup.stack.unusedDarks(
        setup.workers.facts.empty()
            ? "--dark FILE subtracts dark frames"
            : "the calibration was made without a dark; calibrate again with one, or give --dark FILE");
}

std::optional<DarkField> darkOf(RunSetup& setup, Console& console) {
    auto dark = chosenDark(setup, console);
    const std::string first = setup.stack.info(0).path;
    if (dark) {
        checkDarkSize(*dark, setup.stack.width(), setup.stack.height(), first);
        const double seconds = setup.options.acqTime.value_or(setup.stack.acqTime(setup.range.begin));
        console.warning(darkTimeNote(*dark, seconds, first));
    }
    return dark;
}

// The files of dark frames, like inputs, have no hash: the dark has one.
void recordDark(RunRecord& record, const RunSetup& setup) {
    const RunOptions& options = setup.options;
    record.dark = options.dark;
    if (setup.dark)
        record.darkHash = setup.dark->hash;
    if (!isDarkFile(options.dark))
        return;
    const auto [file, dataset] = splitDatasetPath(options.dark);
    record.dark = absolutePath(file) + (dataset.empty() ? "" : "::" + dataset);
    for (const std::string& path : FrameStack({options.dark}, FrameRole::Dark).paths())
        record.darkFiles.push_back(FileRecord::of(splitDatasetPath(path).file, false));
}

} // namespace ombrel
