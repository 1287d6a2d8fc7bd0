#pragma once

#include "kernels/MaskTables.h"
#include "kernels/ProcessorDispatch.h"

#include <cstring>

namespace PluginOmbrel {

// Finds the same as MaskSearch with masks of any values, going down from mask to mask: a level goes on below
// a mask when it is below that and all masks before.
template <std::size_t Lanes>
class MaskDescent {
public:
    using Doubles = typename Vector<Lanes>::Doubles;
    using Mask = typename Vector<Lanes>::Mask;

    Doubles lower; // the values of the two masks
    Doubles upper;
    Mask place{}; // of the lower one's line in `MaskTables::lines`

    // Among two masks or more, at the pixels from `at` on.
    __attribute__((always_inline))
    MaskDescent(const Doubles& level, const MaskTables& masks, std::size_t at) {
        std::memcpy(&lower, masks[0] + at, sizeof lower);
        std::memcpy(&upper, masks[1] + at, sizeof upper);
        Mask below = level < lower;
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

} // namespace PluginOmbrel
