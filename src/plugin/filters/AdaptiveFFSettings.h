#pragma once

#include "aic/AIC.h"

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace PluginOmbrel {

// A float that is a double in the store and in the parameter.
struct RatioField {
    float c_AIC::AICCfg::*field;
};

// A float that is an integer in the store and in the parameter: truncated on the way out.
struct WholeField {
    float c_AIC::AICCfg::*field;
};

// A list of floats that is a comma-separated text in the store and in the parameter.
struct KernelField {
    std::vector<float> c_AIC::AICCfg::*field;
};

// The type of a setting in the configuration; it determines the types in the store and in the parameter.
using SettingField = std::variant<int c_AIC::AICCfg::*, bool c_AIC::AICCfg::*, std::string c_AIC::AICCfg::*,
                                  RatioField, WholeField, KernelField>;

// One setting of the adaptive filter. For some, the parameter's name and the store's key differ.
struct AdaptiveFFSetting {
    const char* key;
    const char* parameter;
    const char* description;
    SettingField field;
};

// The settings in the order of the store and of the parameters.
std::span<const AdaptiveFFSetting> adaptiveFFSettings();

// "0,-1,0,-1,5,-1,0,-1,0"; empty for an empty kernel.
std::string kernelText(const std::vector<float>& kernel);
// The numbers in the text; other parts are dropped.
std::vector<float> parseKernel(const std::string& text);
// Truncates a float to an integer and clamps it to the range of int; NaN becomes 0.
int cutToInt(float value);

} // namespace PluginOmbrel
