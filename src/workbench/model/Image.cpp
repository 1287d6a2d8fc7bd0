#include "model/Image.h"

#include "frame/PixelConversion.h"

#include <algorithm>
#include <functional>

namespace ombrel::workbench {

ImagePtr imageOf(const Frame& frame) {
    auto image = std::make_shared<Image>();
    image->width = frame.width();
    image->height = frame.height();
    image->pixels.resize(frame.size());
    convertPixels(frame.bytes().data(), frame.frameDataType(),
                  reinterpret_cast<std::byte*>(image->pixels.data()), zt::DT_DOUBLE, image->pixels.size());
    return image;
}

ImagePtr differenceOf(const ImagePtr& image, const ImagePtr& base) {
    if (!image || !base || image->width != base->width || image->height != base->height)
        return nullptr;
    auto difference = std::make_shared<Image>(*image);
    std::ranges::transform(image->pixels, base->pixels, difference->pixels.begin(), std::minus());
    return difference;
}

} // namespace ombrel::workbench
