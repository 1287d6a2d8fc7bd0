#include "host/Device.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/FrameFile.h"
#include "zt/Types.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace ombrel {

namespace {

constexpr zt::u32 longestSide = 65535;

std::optional<zt::u32> parseSide(std::string_view text) {
    zt::u32 value = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && rest == text.data() + text.size();
    return whole && value >= 1 && value <= longestSide ? std::optional(value) : std::nullopt;
}

} // namespace

FrameSize parseFrameSize(const std::string& option, const std::string& text) {
    const std::string_view view = text;
    const auto cross = view.find('x');
    const auto width = parseSide(view.substr(0, cross));
    const auto height = cross == std::string_view::npos ? std::nullopt : parseSide(view.substr(cross + 1));
    if (!width || !height)
        throw UsageError(option + " " + text + ": not a size; write WIDTHxHEIGHT, such as 256x256");
    return {*width, *height};
}

void PixelCfg::setMask(std::span<const zt::u8> newMask) {
    if (newMask.size() != mask.size())
        throw std::invalid_argument("the pixel mask differs from the device in size");
    std::ranges::copy(newMask, mask.begin());
}

void PixelCfg::maskData(zt::IByteBuff* out, int /*chip*/) {
    out->resizeByte(mask.size());
    std::ranges::copy(mask, out->dataByte());
}

FramePtr readMaskFrame(const std::string& path, zt::u32 width, zt::u32 height) {
    FramePtr mask = FrameFile::open(path)->readFrame(0);
    if (mask->width() != width || mask->height() != height)
        throw Error(path + ": the mask has " + sizeText(mask->width(), mask->height()) +
                    " pixels, the frames have " + sizeText(width, height));
    return mask;
}

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
