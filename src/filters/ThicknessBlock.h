#pragma once

#include "filters/Logarithm.h"
#include "filters/MaskWalk.h"

#include <cstdint>
#include <cstring>

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
        for (std::size_t i = 0; i < vectors; i += 2)
            findNeighbours(i, masks);
        for (std::size_t i = 0; i < vectors; ++i)
            followLine(neighbours[i], masks, counts + i * Lanes);
    }

private:
    using Doubles = typename Vector<Lanes>::Doubles;
    using Mask = typename Vector<Lanes>::Mask;

    // The two masks that a level lies between, or those whose line it goes on.
    struct Neighbours {
        Doubles level; // less the lower mask
        Doubles run;   // the upper mask less the lower
        Mask lower;    // the place of the lower mask
    };

    // One vector on its way down the masks.
    struct Walk {
        Doubles level, lower, upper;
        Mask walking; // lanes that were below all masks so far
        Mask place;

        __attribute__((always_inline)) Walk(const Doubles& start, const double* first, const double* second)
            : level(start), place{} {
            std::memcpy(&lower, first, sizeof lower);
            std::memcpy(&upper, second, sizeof upper);
            walking = level < lower;
        }

        // Where the walk goes on below `present`, it stands between that mask and the next.
        __attribute__((always_inline)) void pass(const double* present, const double* following) {
            Doubles mask, next;
            std::memcpy(&mask, present, sizeof mask);
            std::memcpy(&next, following, sizeof next);
            walking &= level < mask;
            lower = walking < 0 ? mask : lower;
            upper = walking < 0 ? next : upper;
            place -= walking;
        }

        __attribute__((always_inline)) Neighbours end() const {
            return {level - lower, upper - lower, place};
        }
    };

    // All lanes see all masks, which costs less than a branch. Two vectors go together, since they share the
    // steps from mask to mask; the last of an odd number goes with itself.
    __attribute__((always_inline)) void findNeighbours(std::size_t i, std::span<const MaskTable> masks) {
        const std::size_t j = i + 1 < vectors ? i + 1 : i;
        const std::size_t atI = firstPixel + i * Lanes;
        const std::size_t atJ = firstPixel + j * Lanes;
        const double* present = masks[1].values;
        Walk first(levels[i], masks[0].values + atI, present + atI);
        Walk second(levels[j], masks[0].values + atJ, present + atJ);
        fetchAhead(masks[0].values + atI);
        fetchAhead(present + atI);
        for (std::size_t k = 2; k < masks.size(); ++k) {
            const double* const next = masks[k].values;
            first.pass(present + atI, next + atI);
            second.pass(present + atJ, next + atJ);
            fetchAhead(next + atI);
            present = next;
        }
        neighbours[i] = first.end();
        neighbours[j] = second.end();
    }

    // Goes along the straight line through the two masks.
    __attribute__((always_inline)) static void followLine(const Neighbours& found,
                                                          std::span<const MaskTable> masks, double* counts) {
        Doubles rise, thickness;
        for (std::size_t lane = 0; lane < Lanes; ++lane) {
            const MaskTable& lower = masks[static_cast<std::size_t>(found.lower[lane])];
            rise[lane] = lower.rise;
            thickness[lane] = lower.thickness;
        }
        Doubles count;
        std::memcpy(&count, counts, sizeof count);
        Doubles result = found.level * (rise / found.run) + thickness;
        result = found.run == 0 ? Doubles{} : result;
        result = count <= 0 ? Doubles{} : result;
        std::memcpy(counts, &result, sizeof result);
    }

    // Asks for what two vectors will need two blocks on: that many tables are more streams than processors
    // follow by themselves.
    __attribute__((always_inline)) static void fetchAhead(const double* values) {
        constexpr std::uintptr_t ahead = 64 * sizeof(double);
        constexpr std::uintptr_t cacheLine = 64;
        const auto from = reinterpret_cast<std::uintptr_t>(values) + ahead;
        for (std::uintptr_t at = 0; at < 2 * sizeof(Doubles); at += cacheLine)
            __builtin_prefetch(reinterpret_cast<const void*>(from + at));
    }

    double* counts;
    std::size_t firstPixel;
    std::size_t vectors;
    Logarithm<Lanes> logarithms[capacity];
    Doubles levels[capacity];
    Neighbours neighbours[capacity];
};

} // namespace PluginOmbrel
