#pragma once

#include "frame/Frame.h"
#include "inspection/TileStructure.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

// Frames of a set, which may have to be read again.
class FieldSource {
public:
    virtual ~FieldSource() = default;
    virtual void with(std::size_t field, const std::function<void(const Frame& frame)>& work) = 0;
};

// A few pixels that flicker can lift the sum of a tile above the limit. For each suspect frame: its strongest
// tile that deviates even without the hundredth of its pixels that deviates most, or nothing. Throws Error.
std::vector<std::optional<TileDeviation>> withoutSinglePixels(const TileStructure& structure,
                                                              std::span<const std::size_t> suspects,
                                                              FieldSource& source);

} // namespace ombrel
