#pragma once

#include "inspection/FieldInspection.h"

#include <string>

namespace ombrel {

// Options shared by all calibrations.
struct CalibrateOptions {
    std::string output; // the settings file
    InspectionOptions inspection;
    bool force = false;
    std::string plugin;
    std::string log;
};

} // namespace ombrel
