#pragma once

#include "base/Console.h"
#include "calibration/CalibrateOptions.h"
#include "stack/PixelMask.h"
#include "zt/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The command line of `ombrel calibrate flat-field`.
struct FlatFieldOptions : CalibrateOptions {
    std::vector<std::string> inputs;
    std::string size; // "WxH", for inputs without a size
    bool acquisition = false;
    std::optional<zt::u32> subFrame;
    bool noInterpolation = false;
    bool noDeviceMask = false;
    MaskOptions mask;         // of the device
    std::string bad = "zero"; // zero, ff or none
    bool tdi = false;
    std::string ffcFile;
    std::string asciiFile;
};

// The work of the command. Throws UsageError or Error, and then has written at most the inspection's report.
void calibrateFlatField(const FlatFieldOptions& options, Console& console);

} // namespace ombrel
