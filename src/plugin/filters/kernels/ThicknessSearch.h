#pragma once

#include "kernels/Logarithm.h"
#include "kernels/ProcessorDispatch.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace PluginOmbrel {

// The masks for the pixel loops, in the order of ascending thickness.
class ThicknessTables {
public:
    // This many masks may be read from any index on; past the end the last mask is repeated.
    static constexpr std::size_t reach = 9;

    void clear() {
        values.clear();
        steps.clear();
        maskCount = 0;
    }
    // `maskValues` are logarithms of the count rate, one a pixel. The caller keeps ownership.
    void add(const double* maskValues, double thickness) {
        values.resize(maskCount);
        values.insert(values.end(), reach, maskValues);
        if (maskCount > 0)
            steps.back() = thickness - steps[steps.size() - 2];
        steps.insert(steps.end(), {thickness, 0});
        ++maskCount;
    }

    std::size_t count() const { return maskCount; }
    const double* operator[](std::size_t mask) const { return values[mask]; }
    const double* const* from(std::size_t mask) const { return values.data() + mask; }
    // Two numbers a mask: its thickness, and the difference to that of the next mask. The last difference is
    // not used.
    const double* lines() const { return steps.data(); }

private:
    std::vector<const double*> values;
    std::vector<double> steps;
    std::size_t maskCount = 0;
};

// The straight lines for a vector of levels, each through two neighbouring masks.
template <std::size_t Lanes>
struct ThicknessLine {
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    Doubles along;  // the level minus the lower mask
    Doubles run;    // the upper mask minus the lower
    LaneMask place; // of the lower mask's line in `ThicknessTables::lines`

    ThicknessLine() = default;
    // Through the masks found for the level.
    template <typename Found>
    __attribute__((always_inline)) ThicknessLine(const Doubles& level, const Found& found)
        : along(level - found.lower), run(found.upper - found.lower), place(found.place) {}

    // The thickness at the level; 0 where the masks are equal.
    __attribute__((always_inline)) void follow(const double* lines, Doubles& thickness) const {
        Doubles start, rise;
        lookUp(lines, start, rise);
        thickness = along * (rise / run) + start;
        thickness = run == 0 ? Doubles{} : thickness;
    }

private:
    __attribute__((always_inline)) void lookUp(const double* lines, Doubles& start, Doubles& rise) const {
        if constexpr (Lanes == 4) {
            // Compilers load both numbers of a line together only when the code says so.
            typedef double Couple __attribute__((vector_size(2 * sizeof(double))));
            Couple line[4];
            for (std::size_t lane = 0; lane < 4; ++lane)
                std::memcpy(&line[lane], lines + place[lane], sizeof line[lane]);
            const Doubles even = __builtin_shufflevector(line[0], line[2], 0, 1, 2, 3);
            const Doubles odd = __builtin_shufflevector(line[1], line[3], 0, 1, 2, 3);
            start = __builtin_shufflevector(even, odd, 0, 4, 2, 6);
            rise = __builtin_shufflevector(even, odd, 1, 5, 3, 7);
        } else {
            for (std::size_t lane = 0; lane < Lanes; ++lane) {
                start[lane] = lines[place[lane]];
                rise[lane] = lines[place[lane] + 1];
            }
        }
    }
};

// Finds the same as ThicknessSearch, but for masks of any values, in descending order: the search continues
// below a mask when the level is below it and below all masks before it.
template <std::size_t Lanes>
class ThicknessDescent {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    Doubles lower; // the values of the two masks
    Doubles upper;
    LaneMask place{}; // of the lower one's line in `ThicknessTables::lines`

    // Needs at least two masks; searches at the pixels from `at` on.
    __attribute__((always_inline))
    ThicknessDescent(const Doubles& level, const ThicknessTables& masks, std::size_t at) {
        std::memcpy(&lower, masks[0] + at, sizeof lower);
        std::memcpy(&upper, masks[1] + at, sizeof upper);
        LaneMask below = level < lower;
        Doubles mask = upper;
        for (std::size_t k = 2; k < masks.count(); ++k) {
            Doubles next;
            std::memcpy(&next, masks[k] + at, sizeof next);
            below &= level < mask;
            lower = below < 0 ? mask : lower;
            upper = below < 0 ? next : upper;
            place -= 2 * below;
            mask = next;
        }
    }
};

// Finds, for a vector of levels, the two masks that enclose each level, or whose line is extrapolated to it,
// where the masks fall as ThicknessOrder requires. It bisects eight pairs of masks at a time; `Few` means
// nine masks at most, for which the first eight pairs suffice. All lanes take the same steps, which costs
// less than a branch.
template <std::size_t Lanes, bool Few>
class ThicknessSearch {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    Doubles lower; // the values of the two masks
    Doubles upper;
    LaneMask place; // of the lower one's line in `ThicknessTables::lines`

    // Needs at least two masks; searches at the pixels from `at` on.
    __attribute__((always_inline))
    ThicknessSearch(const Doubles& level, const ThicknessTables& masks, std::size_t at)
        : place{} {
        // Below the last mask the line of the last two is extrapolated; the last mask differs from the one
        // before.
        Doubles last;
        std::memcpy(&last, masks[masks.count() - 1] + at, sizeof last);
        const Doubles raised = last > level ? last : level;
        halve<pairs>(raised, load(masks.from(0), at, all));
        for (std::size_t first = pairs; !Few && first + 1 < masks.count(); first += pairs)
            goOn(raised, load(masks.from(first), at, all), first);
    }

private:
    static constexpr std::size_t pairs = ThicknessTables::reach - 1;
    static constexpr std::make_index_sequence<pairs + 1> all{};

    struct Values {
        Doubles of[pairs + 1];
    };

    __attribute__((always_inline))
    ThicknessSearch(const Doubles& level, const Values& values, long firstPlace)
        : place(LaneMask{} + firstPlace) {
        halve<pairs>(level, values);
    }

    template <std::size_t... K>
    __attribute__((always_inline)) static Values load(const double* const* masks, std::size_t at,
                                                      std::index_sequence<K...>) {
        Values values;
        (std::memcpy(&values.of[K], masks[K] + at, sizeof(Doubles)), ...);
        return values;
    }

    // Bisects `Pairs` pairs, the first of which starts with the first value.
    template <std::size_t Pairs>
    __attribute__((always_inline)) void halve(const Doubles& level, const Values& values) {
        if constexpr (Pairs == 1) {
            lower = values.of[0];
            upper = values.of[1];
        } else {
            constexpr std::size_t half = Pairs / 2;
            const LaneMask below = level < values.of[half];
            place |= below & static_cast<long>(2 * half);
            halve<half>(level, halfOf<half>(below, values, std::make_index_sequence<half + 1>()));
        }
    }

    template <std::size_t Half, std::size_t... K>
    __attribute__((always_inline)) static Values halfOf(const LaneMask& below, const Values& values,
                                                        std::index_sequence<K...>) {
        Values half;
        ((half.of[K] = below < 0 ? values.of[K + Half] : values.of[K]), ...);
        return half;
    }

    // Uses the result from the pairs starting at `first` in the lanes whose level is below the first of these
    // masks.
    __attribute__((always_inline)) void goOn(const Doubles& level, const Values& values, std::size_t first) {
        const ThicknessSearch further(level, values, static_cast<long>(2 * first));
        const LaneMask below = level < values.of[0];
        lower = below < 0 ? further.lower : lower;
        upper = below < 0 ? further.upper : upper;
        place = below < 0 ? further.place : place;
    }
};

// Converts several vectors of pixels from counts to thicknesses, with two masks or more; `Found` finds the
// masks for each level. All vectors complete a step before any starts the next, so that steps that wait for a
// division overlap with steps that only select.
template <std::size_t Lanes, std::size_t Vectors, typename Found>
class ThicknessBlock {
public:
    static constexpr std::size_t pixels = Lanes * Vectors;

    // `counts` points at the pixels from `firstPixel` on.
    __attribute__((always_inline)) ThicknessBlock(double* blockCounts, std::size_t blockFirstPixel)
        : counts(blockCounts), firstPixel(blockFirstPixel) {}

    // Returns false, and leaves the counts unchanged, when a count that is above 0 or NaN has a rate that is
    // not a normal, finite number above 0.
    __attribute__((always_inline)) bool replaceOrdinary(double acqTime, const ThicknessTables& masks) {
        if (!takeLogarithms(acqTime))
            return false;
        followLines(masks);
        return true;
    }

    __attribute__((always_inline)) void replace(double acqTime, const ThicknessTables& masks) {
        if (!takeLogarithms(acqTime))
            takeAnyLogarithms(acqTime);
        followLines(masks);
    }

private:
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    __attribute__((always_inline)) bool takeLogarithms(double acqTime) {
        Logarithm<Lanes> logarithms[Vectors];
        LaneMask strange{}; // in the sign bits
        for (std::size_t i = 0; i < Vectors; ++i) {
            Doubles count;
            std::memcpy(&count, counts + i * Lanes, sizeof count);
            const Doubles rate = count / acqTime;
            LaneMask strangeRate{};
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

    __attribute__((always_inline)) void followLines(const ThicknessTables& masks) {
        fetchAhead(masks);
        for (std::size_t i = 0; i < Vectors; ++i)
            lines[i] = ThicknessLine<Lanes>(levels[i], Found(levels[i], masks, firstPixel + i * Lanes));
        for (std::size_t i = 0; i < Vectors; ++i) {
            Doubles count, thickness;
            std::memcpy(&count, counts + i * Lanes, sizeof count);
            lines[i].follow(masks.lines(), thickness);
            thickness = count <= 0 ? Doubles{} : thickness;
            std::memcpy(counts + i * Lanes, &thickness, sizeof thickness);
        }
    }

    // Prefetches for four blocks ahead: this many tables are more streams than the hardware prefetcher
    // follows.
    __attribute__((always_inline)) void fetchAhead(const ThicknessTables& masks) const {
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
    ThicknessLine<Lanes> lines[Vectors];
};

} // namespace PluginOmbrel
