#include "host/FrameSize.h"

#include "base/Error.h"

#include <charconv>
#include <optional>
#include <string_view>

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

} // namespace ombrel
