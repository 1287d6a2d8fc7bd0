#include "kernels/RankSelection.h"

#include "kernels/BracketCount.h"
#include "kernels/Buffer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace PluginOmbrel {

namespace {

constexpr std::size_t fewValues = 8192; // not worth a sample
constexpr std::size_t valuesPerSample = 32;
constexpr std::size_t largestSample = 65536;

// Rank and value are those of the whole; the values are reordered.
double rankOf(std::span<double> values, std::size_t rank) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank - 1);
    std::ranges::nth_element(values, place);
    return *place;
}

RankSelection selectFromCopy(std::span<const double> values, std::size_t rank) {
    RankSelection selection;
    for (const double value : values) {
        selection.allFinite &= std::isfinite(value);
        selection.anySignBit |= std::signbit(value);
    }
    if (!selection.allFinite)
        return selection;
    Buffer<double> copy;
    copy.resize(values.size());
    std::ranges::copy(values, copy.data());
    selection.value = rankOf(copy.span(), rank);
    return selection;
}

// One value out of each of equal stretches, at a place that hops about, so that no pattern of the frame's
// columns is met in step. Always the same places.
std::vector<double> sampleOf(std::span<const double> values) {
    const std::size_t count = std::min(values.size() / valuesPerSample, largestSample);
    const std::size_t stretch = values.size() / count;
    std::vector<double> sample(count);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        sample[i] = values[i * stretch + (state >> 8) % stretch];
    }
    return sample;
}

// Two values of the sample that enclose the rank in the whole but for once in tens of thousands of random
// tables, by four standard deviations of the rank in a sample. Nothing when the sample is not finite.
std::optional<BracketCount> bracketOf(std::span<const double> values, std::size_t rank) {
    std::vector<double> sample = sampleOf(values);
    if (!std::ranges::all_of(sample, [](double value) { return std::isfinite(value); }))
        return std::nullopt;
    const auto size = static_cast<double>(sample.size());
    const double centre = size * static_cast<double>(rank) / static_cast<double>(values.size());
    const double reach = 2 * std::sqrt(size) + 1;
    const auto rankAt = [&](double position) {
        return static_cast<std::size_t>(std::clamp(position, 1.0, size));
    };
    const double low = rankOf(sample, rankAt(centre - reach));
    const double high = rankOf(sample, rankAt(centre + reach));
    return BracketCount{low, high};
}

} // namespace

RankSelection selectRank(std::span<const double> values, std::size_t rank) {
    if (values.size() < fewValues)
        return selectFromCopy(values, rank);
    std::optional<BracketCount> bracket = bracketOf(values, rank);
    if (!bracket)
        return {0, false, false};

    Buffer<double> between;
    between.resize(values.size() / 4 + bracketBlock);
    countBracket(values, between.span(), *bracket);
    RankSelection selection{0, bracket->allFinite, bracket->anySignBit};
    if (!bracket->allFinite)
        return selection;

    if (rank > bracket->belowLow && rank <= bracket->upToLow)
        selection.value = bracket->low;
    else if (rank > bracket->belowHigh && rank <= bracket->upToHigh)
        selection.value = bracket->high;
    else if (rank > bracket->upToLow && rank <= bracket->belowHigh && bracket->collectedAll)
        selection.value = selectRank(between.span().first(bracket->collected), rank - bracket->upToLow).value;
    else
        return selectFromCopy(values, rank);
    return selection;
}

} // namespace PluginOmbrel
