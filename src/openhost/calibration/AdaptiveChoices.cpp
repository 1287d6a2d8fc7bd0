#include "calibration/AdaptiveChoices.h"

#include "calibration/AdaptiveSettings.h"

#include <algorithm>

namespace ombrel {

namespace {

struct NamedKernel {
    const char* text;
    const char* name;
};

// A kernel whose values sum to 0 sees what a quotient varies, and not how bright it is.
constexpr NamedKernel namedKernels[] = {
    {"0,-1,0,-1,4,-1,0,-1,0", "zero-sum of 4"},
    {"-1,-1,-1,-1,8,-1,-1,-1,-1", "zero-sum of 8"},
    {"0,-1,0,-1,5,-1,0,-1,0", "default"},
};

std::vector<SettingsValue> kernelTexts() {
    std::vector<SettingsValue> texts;
    for (const NamedKernel& kernel : namedKernels)
        texts.emplace_back(std::string(kernel.text));
    return texts;
}

// With less than four tiles nothing is left once the strongest are dropped. With less than eight a side,
// dropping one more or less turns choices in frames with a sample: such sizes come last.
std::vector<SettingsValue> fittingTiles(zt::u32 shortSide) {
    std::vector<int> sizes{16, 8, 32, 64};
    const auto tilesASide = [&](int size) { return static_cast<int>(shortSide) / size; };
    std::erase_if(sizes, [&](int size) { return tilesASide(size) < 2; });
    std::stable_partition(sizes.begin(), sizes.end(), [&](int size) { return tilesASide(size) >= 8; });
    if (sizes.empty())
        sizes.push_back(std::max(1, static_cast<int>(shortSide) / 2));
    return {sizes.begin(), sizes.end()};
}

// Each of the settings with each of the values; those of the first value come first.
std::vector<SettingsTree> withEach(const std::vector<SettingsTree>& settings, const char* key,
                                   const std::vector<SettingsValue>& values) {
    std::vector<SettingsTree> all;
    for (const SettingsTree& base : settings)
        for (const SettingsValue& value : values) {
            all.push_back(base);
            all.back().set(adaptiveGroup, key, value);
        }
    return all;
}

} // namespace

AdaptiveChoices::AdaptiveChoices(const SettingsTree& settings, const std::set<std::string>& fixed,
                                 zt::u32 shortSide) {
    const auto choose = [&](const char* key, std::vector<SettingsValue> values) {
        if (fixed.contains(key))
            values = {*settings.find(adaptiveGroup, key)};
        return values;
    };
    kernels = choose("Kernel", kernelTexts());
    preProcessing = choose("PPEnabled", {false, true});
    // Where the mask begins, a kernel that sums to 0 sees an edge as high as the frame is bright.
    borders = choose("QfBorderMaskSize", {0, 2});
    tileSizes = choose("QfTileSize", fittingTiles(shortSide));
    thresholds = choose("QfTileThreshold", {80, 90, 100});
}

std::vector<SettingsTree> AdaptiveChoices::first(const SettingsTree& base) const {
    SettingsTree settings = base;
    settings.set(adaptiveGroup, "QfTileSize", tileSizes.front());
    settings.set(adaptiveGroup, "QfTileThreshold", thresholds.front());
    return withEach(withEach(withEach({settings}, "Kernel", kernels), "PPEnabled", preProcessing),
                    "QfBorderMaskSize", borders);
}

std::vector<SettingsTree> AdaptiveChoices::second(const SettingsTree& best) const {
    auto all = withEach(withEach({best}, "QfTileSize", tileSizes), "QfTileThreshold", thresholds);
    all.erase(all.begin()); // tried with the kernels
    return all;
}

std::string kernelName(const std::string& kernel) {
    const auto known = std::ranges::find(namedKernels, kernel, &NamedKernel::text);
    return known == std::end(namedKernels) ? kernel : known->name;
}

} // namespace ombrel
