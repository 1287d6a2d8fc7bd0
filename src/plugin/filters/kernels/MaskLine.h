#pragma once

#include "kernels/MaskTables.h"
#include "kernels/ProcessorDispatch.h"

#include <cstring>

namespace PluginOmbrel {

// The straight lines that a vector of levels is on, each through two neighbouring masks.
template <std::size_t Lanes>
struct MaskLine {
    using Doubles = typename Vector<Lanes>::Doubles;
    using Mask = typename Vector<Lanes>::Mask;

    Doubles along; // the level less the lower mask
    Doubles run;   // the upper mask less the lower
    Mask place;    // of the lower mask's line in `MaskTables::lines`

    MaskLine() = default;
    // Through the masks that were found for the level.
    template <typename Found>
    __attribute__((always_inline)) MaskLine(const Doubles& level, const Found& found)
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

} // namespace PluginOmbrel
