#include "image/BinCounts.h"

#include <algorithm>

void BinCounts::start(int valueCount, float range) {
    constexpr int fewestBins = 128;
    constexpr int valuesPerBin = 128;
    const int bins = std::max(valueCount / valuesPerBin, fewestBins);
    counts.assign(static_cast<std::size_t>(bins) * tables, 0);
    total = valueCount;
    fullRange = range;
}

float BinCounts::binWidth() const {
    return fullRange / static_cast<float>(binCount() - 1);
}

bool BinCounts::add(std::span<const float> values) {
    const float width = binWidth();
    const auto end = static_cast<float>(binCount());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float bin = values[i] / width;
        if (!(bin >= 0 && bin < end))
            return false;
        ++counts[static_cast<std::size_t>(static_cast<std::int32_t>(bin)) * tables + i % tables];
    }
    return true;
}

bool BinCounts::addBins(std::span<const std::int32_t> bins) {
    for (std::size_t i = 0; i < bins.size(); ++i) {
        if (bins[i] < 0)
            return false;
        ++counts[static_cast<std::size_t>(bins[i]) * tables + i % tables];
    }
    return true;
}

float BinCounts::count(int bin) const {
    constexpr std::uint32_t mostInFloat = 1U << 24;
    std::uint32_t sum = 0;
    for (std::size_t table = 0; table < tables; ++table)
        sum += counts[static_cast<std::size_t>(bin) * tables + table];
    return static_cast<float>(std::min(sum, mostInFloat));
}

float BinCounts::quantile(float portion) const {
    const int bins = binCount();
    int bin = 0;
    for (float running = 0; bin < bins - 1; ++bin) {
        running += count(bin) / static_cast<float>(total);
        if (running >= portion)
            break;
    }
    return static_cast<float>(bin) / static_cast<float>(bins) * fullRange;
}
