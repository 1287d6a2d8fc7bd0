#pragma once

#include "filters/Logarithm.h"
#include "filters/MaskWalk.h"

#include <cstdint>
#include <cstring>
#include <limits>

namespace PluginOmbrel {

// Some vectors of pixels on their way from counts to thicknesses through two masks or more. All of them take
// each step before any takes the next: steps that wait for a division, and steps that only select, then fill
// the processor in turn.
template <std::size_t Lanes>
class ThicknessBlock {
public:
    static constexpr std::size_t capacity = 32 / Lanes;

    // `counts` are those of the pixels from `firstPixel` on; there are at most `capacity` vectors of them.
    __attribute__((always_inline))
    ThicknessBlock(double* blockCounts, std::size_t blockFirstPixel, std::size_t blockVectors)
        : counts(blockCounts), firstPixel(blockFirstPixel), vectors(blockVectors) {}

    __attribute__((always_inline)) void replace(double acqTime, std::span<const MaskTable> masks) {
        for (std::size_t i = 0; i < vectors; ++i) {
            Doubles rate;
            std::memcpy(&rate, counts + i * Lanes, sizeof rate);
            rate /= acqTime;
            logarithms[i].split(rate);
        }
        for (std::size_t i = 0; i < vectors; ++i)
            logarithms[i].join(levels[i]);
        for (std::size_t i = 0; i < vectors; ++i)
            findLine(lines[i], levels[i], masks, firstPixel + i * Lanes);
        for (std::size_t i = 0; i < vectors; ++i)
            followLine(lines[i], counts + i * Lanes);
    }

private:
    using Doubles = typename Vector<Lanes>::Doubles;
    using Mask = typename Vector<Lanes>::Mask;

    // The straight line through the two masks, seen from the lower one.
    struct Line {
        Doubles level;
        Doubles run;
        Doubles rise;
        Doubles thickness;
    };

    // Every lane sees all masks; one that has found its masks goes on with NaN, which is below nothing.
    __attribute__((always_inline)) static void findLine(Line& line, const Doubles& level,
                                                        std::span<const MaskTable> masks, std::size_t at) {
        constexpr double nothing = std::numeric_limits<double>::quiet_NaN();
        Doubles lower, upper;
        load(lower, masks[0].values + at);
        load(upper, masks[1].values + at);
        Doubles rise = masks[0].rise - Doubles{};
        Doubles thickness = masks[0].thickness - Doubles{};
        Doubles walking = level < lower ? level : Doubles{} + nothing;
        Doubles present = upper;
        for (std::size_t k = 1; k + 1 < masks.size(); ++k) {
            Doubles next;
            load(next, masks[k + 1].values + at);
            lower = walking < present ? present : lower;
            upper = walking < present ? next : upper;
            rise = walking < present ? masks[k].rise - Doubles{} : rise;
            thickness = walking < present ? masks[k].thickness - Doubles{} : thickness;
            walking = reinterpret_cast<Doubles>(reinterpret_cast<Mask>(walking) | ((walking < present) == 0));
            present = next;
        }
        line = {level - lower, upper - lower, rise, thickness};
    }

    __attribute__((always_inline)) static void followLine(const Line& line, double* counts) {
        Doubles count;
        std::memcpy(&count, counts, sizeof count);
        Doubles result = line.level * (line.rise / line.run) + line.thickness;
        result = line.run == 0 ? Doubles{} : result;
        result = count <= 0 ? Doubles{} : result;
        std::memcpy(counts, &result, sizeof result);
    }

    // Asks for what is needed two blocks on as well: that many tables are more streams than processors follow
    // by themselves. A value is read once a frame, so it need not stay in the caches.
    __attribute__((always_inline)) static void load(Doubles& values, const double* from) {
        constexpr std::uintptr_t ahead = 64 * sizeof(double);
        __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(from) + ahead), 0,
                           0);
        std::memcpy(&values, from, sizeof values);
    }

    double* counts;
    std::size_t firstPixel;
    std::size_t vectors;
    Logarithm<Lanes> logarithms[capacity];
    Doubles levels[capacity];
    Line lines[capacity];
};

} // namespace PluginOmbrel
