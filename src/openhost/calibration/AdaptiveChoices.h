#pragma once

#include "settings/SettingsTree.h"
#include "zt/Types.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace ombrel {

// The values that are tried for the settings which decide whether the adaptive filter finds the right flat
// field. Of each the preferred one comes first.
struct AdaptiveChoices {
    std::vector<SettingsValue> kernels;
    std::vector<SettingsValue> preProcessing;
    std::vector<SettingsValue> borders;
    std::vector<SettingsValue> tileSizes;
    std::vector<SettingsValue> thresholds;

    // Keys in `fixed` keep their value of `settings`. Tiles must fit into frames of that shorter side.
    AdaptiveChoices(const SettingsTree& settings, const std::set<std::string>& fixed, zt::u32 shortSide);

    // Kernel, pre-processing and border are tried together, with the first tile size and threshold; then,
    // with the best of these, the other tile sizes and thresholds, and a mosaic of each tile size.
    std::vector<SettingsTree> first(const SettingsTree& base) const;
    std::vector<SettingsTree> second(const SettingsTree& best) const;
    // Trials of all together.
    std::size_t count() const {
        return kernels.size() * preProcessing.size() * borders.size() + tileSizes.size() * thresholds.size() -
               1 + tileSizes.size();
    }
};

// What people call a kernel: by its neighbours when it is one of those that are tried, else its text.
std::string kernelName(const std::string& kernel);

} // namespace ombrel
