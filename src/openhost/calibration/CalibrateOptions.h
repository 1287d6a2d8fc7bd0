#pragma once

#include <string>

namespace ombrel {

// What the calibrations have in common.
struct CalibrateOptions {
    std::string output; // the settings file
    bool force = false;
    std::string plugin;
    std::string log;
};

} // namespace ombrel
