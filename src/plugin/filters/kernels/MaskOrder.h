#pragma once

#include "kernels/MaskTables.h"

#include <cstddef>
#include <vector>

namespace PluginOmbrel {

// At which stretches of pixels no mask lies above the one before, and the last one lies below it: everywhere
// but at dead pixels and where noise outweighs the step from mask to mask. There a walk may search by halves.
class MaskOrder {
public:
    static constexpr std::size_t stretch = 16; // pixels

    // Looks at the first `pixels` values of each mask, unless they are known from before.
    void find(const MaskTables& masks, std::size_t pixels);
    // Masks have come, gone or changed.
    void forget();
    // Whether that is so at the pixel and the rest of its stretch.
    bool falls(std::size_t pixel) const {
        return pixel / stretch < stretches.size() && stretches[pixel / stretch] != 0;
    }

private:
    std::vector<unsigned char> stretches;
    std::size_t known = 0; // pixels
};

} // namespace PluginOmbrel
