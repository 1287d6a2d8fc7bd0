#include "filters/AdaptiveFFSettings.h"

#include "support/Str.h"

#include <algorithm>
#include <cmath>

namespace PluginOmbrel {

namespace {

using Cfg = c_AIC::AICCfg;

// Some parameter names are misspelt; hosts and their scripts use them so.
const AdaptiveFFSetting table[] = {
    {"Interpolation", "Interpolation", "Interpolation", &Cfg::Interpolation},
    {"Search", "Search", "Search", &Cfg::Search},
    {"LogFile", "LogFile", "LogFile", &Cfg::LogFile},
    {"LogQualityValuesFile", "LogQualityValuesFile", "Log quality values output file",
     &Cfg::LogQualityValuesFile},
    {"DumpCompensationImages", "DumpCompensationImages", "Dump compensation images",
     &Cfg::DumpCompensationImages},
    {"PPEnabled", "PPEanbled", "Enable post proceesing (PP)", &Cfg::PPEnabled},
    {"PPBadPixelsDetectorMultiplicator", "PPBadPixelsDetectorMultiplicator",
     "PP Bad Pixels Detector Multiplicator", RatioField{&Cfg::PPBadPixelsDetectorMultiplicator}},
    {"BadPixelsCustomMaskFile", "PPBadPixCustomMask", "PP Bad Pixels Custom Mask",
     &Cfg::BadPixelsCustomMaskFile},
    {"PPMedianMin", "PPMedianMin", "PP Median Min", RatioField{&Cfg::PPMedianMin}},
    {"PPMedianMax", "PPMedianMax", "PP Median Max", RatioField{&Cfg::PPMedianMax}},
    {"CustomMaskFile", "QFCustomMaskFile", "QF Custom Mask File", &Cfg::CustomMaskFile},
    {"QfBorderMaskSize", "QFBorderMaskSize", "QF Border Mask Size", &Cfg::QfBorderMaskSize},
    {"QfTileSize", "QFTileSize", "QF Tile Size", &Cfg::QfTileSize},
    {"QfTileThreshold", "QFTileThreshold", "QF Tile Threshold", WholeField{&Cfg::QfTileThreshold}},
    {"Kernel", "Kernel", "QF HP Fileter Kernel", KernelField{&Cfg::Kernel}},
};

} // namespace

std::span<const AdaptiveFFSetting> adaptiveFFSettings() {
    return table;
}

std::string kernelText(const std::vector<float>& kernel) {
    std::string text;
    for (const float value : kernel)
        text += (text.empty() ? "" : ",") + str::fromNum<float>(value);
    return text;
}

std::vector<float> parseKernel(const std::string& text) {
    std::vector<float> kernel;
    for (const std::string& part : str::split(text, ",", false, 0)) {
        int error = 0;
        const float value = str::toNum<float>(part, &error);
        if (!error)
            kernel.push_back(value);
    }
    return kernel;
}

int cutToInt(float value) {
    if (std::isnan(value))
        return 0;
    // 2147483520 is the largest float that an int can hold.
    return static_cast<int>(std::clamp(value, -2147483648.0f, 2147483520.0f));
}

} // namespace PluginOmbrel
