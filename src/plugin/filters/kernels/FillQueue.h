#pragma once

#include "kernels/Neighbourhood.h"

#include <array>
#include <cstddef>

namespace PluginOmbrel {

// The surrounded bad pixels that one pass is to fill: those at least two away from every edge whose
// neighbours are all good. What a pass fills is no source in it, so they may wait until there are several:
// their neighbours come from memory in the meantime, and their sums are made side by side.
template <typename T>
class FillQueue {
public:
    FillQueue(T* frameData, std::size_t frameWidth) : data(frameData), width(frameWidth) {}

    void add(std::size_t x, std::size_t y) {
        if (count == firstNeighbours.size())
            fillAll();
        const std::size_t first = (y - neighbourReach) * width + x - neighbourReach;
        firstNeighbours[count++] = first;
        const T* row = data + first;
        for (std::size_t i = 0; i < neighbourSide; ++i, row += width) {
            __builtin_prefetch(row);
            __builtin_prefetch(row + neighbourSide - 1);
        }
    }

    void fillAll() {
        std::size_t i = 0;
        for (; i + together <= count; i += together)
            fill<together>(firstNeighbours.data() + i);
        for (; i < count; ++i)
            fill<1>(firstNeighbours.data() + i);
        count = 0;
    }

private:
    // Each addition to a sum has to wait for the one before, so several sums take hardly longer than one.
    static constexpr std::size_t together = 4;

    template <std::size_t Pixels>
    void fill(const std::size_t* firsts) {
        std::array<double, Pixels> sums{};
        const T* row = data;
        for (std::size_t y = 0; y < neighbourSide; ++y, row += width)
            for (std::size_t x = 0; x < neighbourSide; ++x) {
                if (y == neighbourReach && x == neighbourReach)
                    continue;
                const double weight = inverseDistances[y][x];
                for (std::size_t i = 0; i < Pixels; ++i)
                    sums[i] += weight * row[firsts[i] + x];
            }
        for (std::size_t i = 0; i < Pixels; ++i)
            data[firsts[i] + neighbourReach * (width + 1)] = static_cast<T>(sums[i] / surroundedWeightSum);
    }

    T* data;
    std::size_t width;
    std::array<std::size_t, 32> firstNeighbours; // index of the upper left one
    std::size_t count = 0;
};

} // namespace PluginOmbrel
