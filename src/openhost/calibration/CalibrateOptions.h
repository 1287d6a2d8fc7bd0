#pragma once

#include <string>

namespace ombrel {

// Options shared by all calibrations.
struct CalibrateOptions {
    std::string output; // the settings file
    bool force = false;
    std::string plugin;
    std::string log;
};

} // namespace ombrel
