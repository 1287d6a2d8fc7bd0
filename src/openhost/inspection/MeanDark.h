#pragma once

#include "inspection/FieldInspection.h"
#include "settings/CalibrationFacts.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The values of --dark besides the path of a file.
inline constexpr const char* ownDark = "auto"; // that of the inputs, or of the calibrations of a run
inline constexpr const char* noDark = "none";

inline bool isDarkFile(const std::string& option) {
    return option != ownDark && option != noDark;
}

// The mean of the good dark frames: those of the file, or with "auto" those that the inputs mark. Nothing
// without such frames and with "none". Dark frames of the inputs are judged in any case but for a file. The
// inspection gets their verdicts. Throws Error if hardly any is good, or their sizes differ.
std::optional<DarkField> measureDark(const std::string& option, const std::vector<std::string>& inputs,
                                     FieldInspection& inspection);

// Throws Error if the dark frames have another size; `whose` is the file of the frames.
void checkDarkSize(const DarkField& dark, zt::u32 width, zt::u32 height, const std::string& whose);

// The message that frames were exposed for another time than the dark frames; empty if a time is not known
// or both are the same. A time of 0 is not known.
std::string darkTimeNote(const DarkField& dark, double seconds, const std::string& whose);

} // namespace ombrel
