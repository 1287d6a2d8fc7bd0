#pragma once

#include "kernels/Logarithm.h"
#include "kernels/ProcessorDispatch.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace PluginOmbrel {

// The masks as a walk sees them, in the order of ascending thickness.
class ThicknessTables {
public:
    // So many masks may be looked at from any one on; beyond the last they are the last.
    static constexpr std::size_t reach = 9;

    void clear();
    // `values` are logarithms of the count rate, one a pixel. They stay the caller's.
    void add(const double* values, double thickness);

    std::size_t count() const { return maskCount; }
    const double* operator[](std::size_t mask) const { return values[mask]; }
    const double* const* from(std::size_t mask) const { return values.data() + mask; }
    // Two a mask: its thickness, and the rise to that of the next one. The last rise has no meaning.
    const double* lines() const { return steps.data(); }

private:
    std::vector<const double*> values;
    std::vector<double> steps;
    std::size_t maskCount = 0;
};

// The straight lines that a vector of levels is on, each through two neighbouring masks.
template <std::size_t Lanes>
struct ThicknessLine {
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    Doubles along;  // the level less the lower mask
    Doubles run;    // the upper mask less the lower
    LaneMask place; // of the lower mask's line in `ThicknessTables::lines`

    ThicknessLine() = default;
    // Through the masks that were found for the level.
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
            // Compilers fetch both numbers of a line at once only if told.
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

// Finds the same as ThicknessSearch with masks of any values, going down from mask to mask: a level goes on
// below a mask when it is below that and all masks before.
template <std::size_t Lanes>
class ThicknessDescent {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    Doubles lower; // the values of the two masks
    Doubles upper;
    LaneMask place{}; // of the lower one's line in `ThicknessTables::lines`

    // Among two masks or more, at the pixels from `at` on.
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

// Finds, for a vector of levels, the two masks that each level lies between, or whose line it goes on, where
// the masks fall as ThicknessOrder tells. It searches by halves among eight pairs of masks at once, and is
// done after those with `Few` masks, nine at most. All lanes take the same steps, which costs less than a
// branch.
template <std::size_t Lanes, bool Few>
class ThicknessSearch {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;

    Doubles lower; // the values of the two masks
    Doubles upper;
    LaneMask place; // of the lower one's line in `ThicknessTables::lines`

    // Among two masks or more, at the pixels from `at` on.
    __attribute__((always_inline))
    ThicknessSearch(const Doubles& level, const ThicknessTables& masks, std::size_t at)
        : place{} {
        // The line of the last two goes on below the last one, which has no equal before it.
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

    // Searches among `Pairs` pairs, the first of which begins with the first value.
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

    // Takes what is found among the pairs from the `first` on in the lanes that lie below its lower mask.
    __attribute__((always_inline)) void goOn(const Doubles& level, const Values& values, std::size_t first) {
        const ThicknessSearch further(level, values, static_cast<long>(2 * first));
        const LaneMask below = level < values.of[0];
        lower = below < 0 ? further.lower : lower;
        upper = below < 0 ? further.upper : upper;
        place = below < 0 ? further.place : place;
    }
};

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
        LaneMask strange{}; // by the signs
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

    // Asks for what will be needed four blocks on: so many tables are more streams than processors follow by
    // themselves.
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
