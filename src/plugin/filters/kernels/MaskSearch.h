#pragma once

#include "kernels/MaskTables.h"
#include "kernels/ProcessorDispatch.h"

#include <cstring>
#include <utility>

namespace PluginOmbrel {

// Finds, for a vector of levels, the two masks that each level lies between, or whose line it goes on, where
// the masks fall as MaskOrder tells. It searches by halves among eight pairs of masks at once, and is done
// after those with `Few` masks, nine at most. All lanes take the same steps, which costs less than a branch.
template <std::size_t Lanes, bool Few>
class MaskSearch {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using Mask = typename Vector<Lanes>::Mask;

    Doubles lower; // the values of the two masks
    Doubles upper;
    Mask place; // of the lower one's line in `MaskTables::lines`

    // Among two masks or more, at the pixels from `at` on.
    __attribute__((always_inline)) MaskSearch(const Doubles& level, const MaskTables& masks, std::size_t at)
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
    static constexpr std::size_t pairs = MaskTables::reach - 1;
    static constexpr std::make_index_sequence<pairs + 1> all{};

    struct Values {
        Doubles of[pairs + 1];
    };

    __attribute__((always_inline)) MaskSearch(const Doubles& level, const Values& values, long firstPlace)
        : place(Mask{} + firstPlace) {
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
            const Mask below = level < values.of[half];
            place |= below & static_cast<long>(2 * half);
            halve<half>(level, halfOf<half>(below, values, std::make_index_sequence<half + 1>()));
        }
    }

    template <std::size_t Half, std::size_t... K>
    __attribute__((always_inline)) static Values halfOf(const Mask& below, const Values& values,
                                                        std::index_sequence<K...>) {
        Values half;
        ((half.of[K] = below < 0 ? values.of[K + Half] : values.of[K]), ...);
        return half;
    }

    // Takes what is found among the pairs from the `first` on in the lanes that lie below its lower mask.
    __attribute__((always_inline)) void goOn(const Doubles& level, const Values& values, std::size_t first) {
        const MaskSearch further(level, values, static_cast<long>(2 * first));
        const Mask below = level < values.of[0];
        lower = below < 0 ? further.lower : lower;
        upper = below < 0 ? further.upper : upper;
        place = below < 0 ? further.place : place;
    }
};

} // namespace PluginOmbrel
