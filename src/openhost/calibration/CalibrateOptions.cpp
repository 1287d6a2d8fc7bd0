#include "calibration/CalibrateOptions.h"

#include "settings/SettingsReader.h"

#include <filesystem>

namespace ombrel {

void checkSettingsOutput(const std::string& output) {
    std::error_code none;
    if (const auto bytes = std::filesystem::file_size(output, none); !none && bytes > 0)
        readReplaceable(output);
}

} // namespace ombrel
