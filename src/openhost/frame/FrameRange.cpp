#include "frame/FrameRange.h"

#include "base/Error.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace ombrel {

namespace {

struct Ends {
    std::optional<zt::u64> begin;
    std::optional<zt::u64> end;
};

std::optional<zt::u64> parseEnd(std::string_view text, const std::string& whole) {
    if (text.empty())
        return std::nullopt;
    zt::u64 value = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || rest != text.data() + text.size())
        throw UsageError("--frames " + whole +
                         ": not a range; write A:B for frames A to B-1, counted from 0");
    return value;
}

Ends parseEnds(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos)
        throw UsageError("--frames " + text + ": not a range; write A:B for frames A to B-1, counted from 0");
    const std::string_view view = text;
    const Ends ends{parseEnd(view.substr(0, colon), text), parseEnd(view.substr(colon + 1), text)};
    if (ends.begin && ends.end && *ends.begin >= *ends.end)
        throw UsageError("--frames " + text + ": holds no frame; A must be below B");
    return ends;
}

} // namespace

FrameRange parseFrameRange(const std::string& text, zt::u64 frames) {
    const Ends ends = parseEnds(text);
    if (frames == 0)
        throw Error("the inputs hold no frame");
    const FrameRange range{ends.begin.value_or(0), ends.end.value_or(frames)};
    if (range.begin >= range.end || range.end > frames)
        throw UsageError("--frames " + text + ": the inputs hold frames 0 to " + std::to_string(frames - 1));
    return range;
}

void checkFrameRange(const std::string& text) {
    parseEnds(text);
}

} // namespace ombrel
