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

// A settings file that exists is replaced, of whatever filter it is, once --force was given. Throws Error for
// one that does not read as settings: a mistyped name must not cost measured frames.
void checkSettingsOutput(const std::string& output);

} // namespace ombrel
