#pragma once

#include "kernels/Logarithm.h"
#include "kernels/MaskLine.h"
#include "kernels/MaskTables.h"

#include <cstdint>
#include <cstring>

namespace PluginOmbrel {

// Some vectors of pixels on their way from counts to thicknesses through two masks or more, which `Found`
// finds for each level. All vectors take each step before any takes the next: steps that wait for a division,
// and steps that only select, then fill the processor in turn.
template <std::size_t Lanes, std::size_t Vectors, typename Found>
class ThicknessBlock {
public:
    static constexpr std::size_t pixels = Lanes * Vectors;

    // `counts` are those of the pixels from `firstPixel` on.
    __attribute__((always_inline)) ThicknessBlock(double* blockCounts, std::size_t blockFirstPixel)
        : counts(blockCounts), firstPixel(blockFirstPixel) {}

    // False, with the counts left as they are, when there is a count above 0, or none at all, whose rate is
    // not a normal, finite number above 0.
    __attribute__((always_inline)) bool replaceOrdinary(double acqTime, const MaskTables& masks) {
        if (!takeLogarithms(acqTime))
            return false;
        followLines(masks);
        return true;
    }

    __attribute__((always_inline)) void replace(double acqTime, const MaskTables& masks) {
        if (!takeLogarithms(acqTime))
            takeAnyLogarithms(acqTime);
        followLines(masks);
    }

private:
    using Doubles = typename Vector<Lanes>::Doubles;
    using Mask = typename Vector<Lanes>::Mask;

    __attribute__((always_inline)) bool takeLogarithms(double acqTime) {
        Logarithm<Lanes> logarithms[Vectors];
        Mask strange{}; // by the signs
        for (std::size_t i = 0; i < Vectors; ++i) {
            Doubles count;
            std::memcpy(&count, counts + i * Lanes, sizeof count);
            const Doubles rate = count / acqTime;
            Mask strangeRate{};
            Logarithm<Lanes>::noteStrange(rate, strangeRate);
            strange |= strangeRate & ~(count <= 0);
            logarithms[i].split(rate);
        }
        for (std::size_t i = 0; i < Vectors; ++i)
            logarithms[i].join(levels[i]);
        long signs = 0;
        for (std::size_t lane = 0; lane < Lanes; ++lane)
            signs |= strange[lane];
        return signs >= 0;
    }

    __attribute__((always_inline)) void takeAnyLogarithms(double acqTime) {
        for (std::size_t i = 0; i < Vectors; ++i) {
            std::memcpy(&levels[i], counts + i * Lanes, sizeof levels[i]);
            levels[i] /= acqTime;
            Logarithm<Lanes>::replace(levels[i]);
        }
    }

    __attribute__((always_inline)) void followLines(const MaskTables& masks) {
        fetchAhead(masks);
        for (std::size_t i = 0; i < Vectors; ++i)
            lines[i] = MaskLine<Lanes>(levels[i], Found(levels[i], masks, firstPixel + i * Lanes));
        for (std::size_t i = 0; i < Vectors; ++i) {
            Doubles count, thickness;
            std::memcpy(&count, counts + i * Lanes, sizeof count);
            lines[i].follow(masks.lines(), thickness);
            thickness = count <= 0 ? Doubles{} : thickness;
            std::memcpy(counts + i * Lanes, &thickness, sizeof thickness);
        }
    }

    // Asks for what will be needed four blocks on: so many tables are more streams than processors follow by
    // themselves.
    __attribute__((always_inline)) void fetchAhead(const MaskTables& masks) const {
        constexpr std::uintptr_t ahead = 64 * sizeof(double);
        constexpr std::uintptr_t cacheLine = 64;
        for (std::size_t k = 0; k < masks.count(); ++k) {
            const auto from = reinterpret_cast<std::uintptr_t>(masks[k] + firstPixel) + ahead;
            for (std::uintptr_t at = 0; at < pixels * sizeof(double); at += cacheLine)
                __builtin_prefetch(reinterpret_cast<const void*>(from + at));
        }
    }

    double* counts;
    std::size_t firstPixel;
    Doubles levels[Vectors];
    MaskLine<Lanes> lines[Vectors];
};

} // namespace PluginOmbrel
