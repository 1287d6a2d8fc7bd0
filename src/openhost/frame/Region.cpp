#include "frame/Region.h"

#include "base/Error.h"
#include "base/SizeText.h"
#include "zt/DataType.h"

#include <string>

namespace ombrel {

void checkRegion(const Region& region, const FrameFileInfo& info) {
    if (region.width == 0 || region.height == 0)
        throw UsageError(info.path + ": the region holds no pixel");
    if (zt::u64{region.x} + region.width > info.width || zt::u64{region.y} + region.height > info.height)
        throw UsageError(info.path + ": the region reaches beyond the frames of " +
                         sizeText(info.width, info.height));
}

std::vector<double> pixelsOf(Frame& frame, const Region& region) {
    frame.convertToType(zt::DT_DOUBLE);
    const auto all = frame.pixels<double>();
    std::vector<double> pixels;
    for (zt::u32 y = region.y; y < region.y + region.height; ++y) {
        const auto row = all.subspan(std::size_t{y} * frame.width() + region.x, region.width);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

} // namespace ombrel
