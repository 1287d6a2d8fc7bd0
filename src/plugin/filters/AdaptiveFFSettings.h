#pragma once

#include "aic/AIC.h"

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace PluginOmbrel {

// A float that is a double outside.
struct RatioField {
    float c_AIC::AICCfg::*field;
};

// A float that is an integer outside: cut on the way out.
struct WholeField {
    float c_AIC::AICCfg::*field;
};

// A list of floats that is a text outside, joined by commas.
struct KernelField {
    std::vector<float> c_AIC::AICCfg::*field;
};

// How a setting is kept in the configuration. What the store and the parameter hold follows from it.
using SettingField = std::variant<int c_AIC::AICCfg::*, bool c_AIC::AICCfg::*, std::string c_AIC::AICCfg::*,
                                  RatioField, WholeField, KernelField>;

// One setting of the adaptive filter. The name of the parameter and the key in the store differ for some.
struct AdaptiveFFSetting {
    const char* key;
    const char* parameter;
    const char* description;
    SettingField field;
};

// The settings in the order in which they are stored and shown.
std::span<const AdaptiveFFSetting> adaptiveFFSettings();

// "0,-1,0,-1,5,-1,0,-1,0"; empty for an empty kernel.
std::string kernelText(const std::vector<float>& kernel);
// The parts of the text that are numbers; the others are dropped.
std::vector<float> parseKernel(const std::string& text);
// A float as the integer that stands for it outside; what has none becomes the nearest, NaN 0.
int cutToInt(float value);

} // namespace PluginOmbrel
