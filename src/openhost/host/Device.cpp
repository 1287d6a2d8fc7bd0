#include "host/Device.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <stdexcept>

namespace ombrel {

namespace {

zt::u32 countable(zt::u32 width, zt::u32 height) {
    const zt::u64 pixels = zt::u64{width} * height;
    if (pixels > std::numeric_limits<zt::u32>::max())
        throw std::length_error("a device of more than 4294967295 pixels");
    return static_cast<zt::u32>(pixels);
}

zt::IMpxFrame* handedOver(const FramePtr& frame) {
    frame->addRef();
    return frame.get();
}

} // namespace

Device::Device(int deviceType, zt::u32 deviceWidth, zt::u32 deviceHeight)
    : typeCode(deviceType), columns(deviceWidth), rows(deviceHeight),
      cfg(countable(deviceWidth, deviceHeight)) {}

void Device::setAcquisition(std::vector<FramePtr> frames) {
    std::ranges::move(acquired, std::back_inserter(earlier));
    acquired = std::move(frames);
}

zt::IMpxFrame* Device::lastAcqFrame() {
    return acquired.empty() ? nullptr : handedOver(acquired.back());
}

zt::IMpxFrame* Device::acqFrame(zt::u32 index) {
    return index < acquired.size() ? handedOver(acquired[index]) : nullptr;
}

} // namespace ombrel
