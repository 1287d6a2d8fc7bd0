#include "calibration/AdaptiveTuning.h"

#include "base/Error.h"
#include "calibration/AdaptiveReport.h"
#include "calibration/AdaptiveSettings.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

namespace ombrel {

namespace {

struct NamedKernel {
    const char* text;
    const char* name;
};

// A kernel with sum 0 responds to the variation of a quotient, not to its level.
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

// With less than four tiles nothing remains after the strongest are dropped. With less than eight a side, one
// tile more or less changes the choice for frames with a sample: such sizes come last.
std::vector<SettingsValue> fittingTiles(zt::u32 shortSide) {
    std::vector<int> sizes{16, 8, 32, 64};
    const auto tilesASide = [&](int size) { return static_cast<int>(shortSide) / size; };
    std::erase_if(
        sizes, [&](int size) { return tilesASide(size) < 2; });
    std::stable_partition(sizes.begin(), sizes.end(), [&](int size) { return tilesASide(size) >= 8; });
    if (sizes.empty())
        sizes.push_back(std::max(1, static_cast<int>(shortSide) / 2));
    return {sizes.begin(), sizes.end()};
}

// Combines each of the settings with each of the values; combinations with the first value come first.
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
    // At the border of the mask, a kernel with sum 0 sees an edge as high as the frame's level.
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
    all.erase(all.begin()); // already tried with the kernels
    return all;
}

std::string kernelName(const std::string& kernel) {
    const auto known = std::ranges::find(namedKernels, kernel, &NamedKernel::text);
    return known == std::end(namedKernels) ? kernel : known->name;
}

namespace {

using Candidates = std::vector<const TrialResult*>;

// Smaller differences between residuals are chance.
constexpr double sameResidual = 0.02;

bool isAboutLeast(double residual, double least) {
    return residual <= least + sameResidual * std::max(least, 1.0);
}

// Keeps the candidates with the least value, or about the least.
template <typename Value, typename IsLeast>
void keepLeast(Candidates& candidates, Value value, IsLeast isLeast) {
    const auto least = value(**std::ranges::min_element(
        candidates, [&](auto* one, auto* other) { return value(*one) < value(*other); }));
    std::erase_if(candidates, [&](auto* candidate) { return !isLeast(value(*candidate), least); });
}

// The noise of other frames will not change the choice. A larger margin means little: test frames have less
// noise than frames with a sample.
bool isSure(const TrialResult& result) {
    constexpr double sureMargin = 0.2;
    return result.margin.value_or(0) >= sureMargin;
}

double mosaicResidualOf(const TrialResult& result) {
    return result.mosaicResidual.value_or(std::numeric_limits<double>::infinity());
}

} // namespace

std::size_t bestOf(std::span<const TrialResult> results) {
    Candidates candidates;
    for (const TrialResult& result : results)
        candidates.push_back(&result);
    const auto wrong = [](const TrialResult& result) { return result.frames - result.right.value_or(0); };
    const auto residual = [](const TrialResult& result) { return result.residual; };
    keepLeast(
        candidates, [](const TrialResult& result) { return result.failed; }, std::equal_to());
    keepLeast(candidates, residual, isAboutLeast);
    keepLeast(candidates, wrong, std::equal_to());
    keepLeast(candidates, mosaicResidualOf, isAboutLeast);
    keepLeast(
        candidates, [](const TrialResult& result) { return !isSure(result); }, std::equal_to());
    return static_cast<std::size_t>(candidates.front() - results.data());
}

bool isClearlyFlatter(const TrialResult& other, const TrialResult& result) {
    return other.failed <= result.failed && !isAboutLeast(result.residual, other.residual);
}

namespace {

// The quality function is tried over all flat fields; a choice that holds there also holds for the partial
// searches.
SettingsTree fullSearch(SettingsTree settings) {
    settings.set(adaptiveGroup, "Search", 0);
    settings.set(adaptiveGroup, "Interpolation", 0);
    return settings;
}

// The settings that a mosaic depends on.
bool haveSameTiles(const SettingsTree& one, const SettingsTree& other) {
    return adaptiveSetting<std::string>(one, "Kernel") == adaptiveSetting<std::string>(other, "Kernel") &&
           adaptiveSetting<bool>(one, "PPEnabled") == adaptiveSetting<bool>(other, "PPEnabled") &&
           adaptiveSetting<int>(one, "QfBorderMaskSize") == adaptiveSetting<int>(other, "QfBorderMaskSize") &&
           adaptiveSetting<int>(one, "QfTileSize") == adaptiveSetting<int>(other, "QfTileSize");
}

// A mosaic uses the tiles, but no threshold.
void tryMosaics(AdaptiveTrial& trial, const TrialSet& set, SettingsTree settings,
                const AdaptiveChoices& choices, std::span<TrialResult> results) {
    settings.set(adaptiveGroup, "Search", mosaicSearch);
    for (const SettingsValue& size : choices.tileSizes) {
        settings.set(adaptiveGroup, "QfTileSize", size);
        const TrialResult mosaic = trial.run(set.heap, settings, set.frames);
        for (TrialResult& result : results)
            if (mosaic.failed == 0 && haveSameTiles(result.settings, settings))
                result.mosaicResidual = mosaic.residual;
    }
}

std::vector<TrialResult> tryEach(AdaptiveTrial& trial, const TrialSet& set, SettingsTree settings,
                                 const char* key, int values) {
    std::vector<TrialResult> results;
    for (int value = 0; value < values; ++value) {
        settings.set(adaptiveGroup, key, value);
        results.push_back(trial.run(set.heap, settings, set.frames));
    }
    return results;
}

} // namespace

std::vector<TrialResult> tryChoices(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base,
                                    const AdaptiveChoices& choices) {
    std::vector<TrialResult> results;
    for (const SettingsTree& settings : choices.first(fullSearch(base)))
        results.push_back(trial.run(set.heap, settings, set.frames));
    const SettingsTree best = results[bestOf(results)].settings;
    for (const SettingsTree& settings : choices.second(best))
        results.push_back(trial.run(set.heap, settings, set.frames));
    tryMosaics(trial, set, best, choices, results);
    const TrialResult& result = results[bestOf(results)];
    if (result.failed == result.frames)
        throw Error("no test frame could be corrected with any settings: " + result.failure);
    return results;
}

std::vector<TrialResult> tryInterpolation(AdaptiveTrial& trial, const TrialSet& set,
                                          const SettingsTree& base) {
    return tryEach(trial, set, fullSearch(base), "Interpolation", interpolationKinds);
}

std::vector<TrialResult> trySearches(AdaptiveTrial& trial, const TrialSet& set, const SettingsTree& base) {
    return tryEach(trial, set, base, "Search", searchKinds);
}

namespace {

constexpr const char* chosen = "chosen";

SettingsTree withQualityOf(const SettingsTree& base, const SettingsTree& source) {
    return withSettingsOf(base, source,
                          {"Kernel", "PPEnabled", "QfBorderMaskSize", "QfTileSize", "QfTileThreshold"});
}

} // namespace

SettingsTree AdaptiveTuner::preferredQuality(const SettingsTree& base, const AdaptiveChoices& choices) const {
    const SettingsTree settings = withQualityOf(base, choices.first(base).front());
    console.message("the settings cannot be ranked: the single frame of a grid point is its own flat field, "
                    "which leaves nothing to compare; the preferred ones are written (kernel " +
                    kernelName(adaptiveSetting<std::string>(settings, "Kernel")) +
                    "), give each point two frames or more to have them tried");
    return settings;
}

SettingsTree AdaptiveTuner::chooseQuality(const TrialSet& set, const SettingsTree& base,
                                          const AdaptiveChoices& choices) {
    const auto results = tryChoices(trial, set, base, choices);
    const std::size_t best = bestOf(results);
    console.result(choicesTable(results, {best, chosen}));
    if (set.coverage.points > set.frames.size())
        console.result(coverageText(results[best], set.coverage));
    return withQualityOf(base, results[best].settings);
}

SettingsTree AdaptiveTuner::chooseInterpolation(const TrialSet& between, SettingsTree settings) {
    const auto results = tryInterpolation(trial, between, settings);
    // Midpoints cost time, so they must improve the result.
    const std::size_t best = isClearlyFlatter(results[1], results[0]) ? 1 : 0;
    console.result("\nFrames between the points of a coarser grid, of every second value:\n" +
                   interpolationTable(results, {best, chosen}));
    return withSettingsOf(std::move(settings), results[best].settings, {"Interpolation"});
}

void AdaptiveTuner::showSearches(const TrialSet& set, const SettingsTree& settings) {
    const auto results = trySearches(trial, set, settings);
    const auto inForce = static_cast<std::size_t>(adaptiveSetting<int>(settings, "Search"));
    console.result("\nThe searches with these settings:\n" + searchesTable(results, {inForce, chosen}));
}

SettingsTree withSettingsOf(SettingsTree settings, const SettingsTree& source,
                            std::initializer_list<const char*> keys) {
    for (const char* key : keys)
        settings.set(adaptiveGroup, key, *source.find(adaptiveGroup, key));
    return settings;
}

} // namespace ombrel
