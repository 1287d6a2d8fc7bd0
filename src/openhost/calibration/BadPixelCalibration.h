#pragma once

#include "base/Console.h"
#include "inspection/BadPixels.h"
#include "stack/PixelMask.h"

#include <string>
#include <vector>

namespace ombrel {

// The command line of `ombrel calibrate bad-pixels`.
struct BadPixelOptions {
    std::vector<std::string> flats;
    std::vector<std::string> darks;
    std::vector<std::string> outputs; // see writePixelMask()
    std::string picture;
    MaskOptions mask; // faults that are known before
    BadPixelLimits limits;
    bool force = false;
    bool quiet = false;
    std::string log;
};

// The work of the command. Throws UsageError or Error, and then may have written some of the outputs.
void calibrateBadPixels(const BadPixelOptions& options, Console& console);

} // namespace ombrel
