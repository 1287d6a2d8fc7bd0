#pragma once

#include "inspection/MeanDark.h"

#include <string>

namespace ombrel {

// Options shared by all calibrations.
struct CalibrateOptions {
    std::string output; // the settings file
    InspectionOptions inspection;
    std::string dark = ownDark; // see measureDark()
    bool force = false;
    std::string plugin;
    std::string log;
};

} // namespace ombrel
