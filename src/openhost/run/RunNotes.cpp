#include "run/RunNotes.h"

#include "base/Numbers.h"
#include "frame/PixelType.h"
#include "stack/FrameStack.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <type_traits>

namespace ombrel {

namespace {

double topOf(zt::u8 pixelType) {
    return withPixelType(
        pixelType,
        [](auto pixel) {
            using T = decltype(pixel);
            return std::is_integral_v<T> ? static_cast<double>(std::numeric_limits<T>::max()) : notANumber;
        });
}

// Reasons that differ only in numbers are treated as one.
std::string withoutNumbers(const std::string& text) {
    std::string kept;
    for (const char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c)))
            kept += c;
        else if (!kept.ends_with('#'))
            kept += '#';
    return kept;
}

} // namespace

std::string frameListText(const std::vector<zt::u64>& frames) {
    constexpr int mostRanges = 8;
    std::string text;
    int ranges = 0;
    for (std::size_t i = 0; i < frames.size();) {
        if (++ranges > mostRanges)
            return text + ", ...";
        std::size_t last = i;
        while (last + 1 < frames.size() && frames[last + 1] == frames[last] + 1)
            ++last;
        text += (text.empty() ? "" : ", ") + std::to_string(frames[i]);
        if (last > i)
            text += "-" + std::to_string(frames[last]);
        i = last + 1;
    }
    return text;
}

void RunNotes::add(zt::u64 frame, const FrameRow& row) {
    if (row.failed) {
        const auto [found, isNew] = failureOf.try_emplace(withoutNumbers(row.reason), failed.size());
        if (isNew)
            failed.push_back({row.reason, {}});
        failed[found->second].frames.push_back(frame);
    }
    if (row.clipped > 0) {
        clippedPixels += row.clipped;
        clippedFrames.push_back(frame);
    }
    notPositive += row.notPositive;
    framesNotPositive += row.notPositive != 0 ? 1 : 0;
    if (row.inputHash == 0)
        return; // the frame could not be read
    const zt::u64 pixels = zt::u64{stack->width()} * stack->height();
    const bool isConstant =
        row.input.notFinite == 0 && (row.input.spread == 0 || row.input.zeroPixels == pixels);
    if (row.input.notFinite == pixels)
        addKind("not finite", frame);
    else if (isConstant && row.input.mean == topOf(stack->pixelType(frame)))
        addKind("saturated", frame);
    else if (isConstant)
        addKind("constant", frame);
    else if (!row.failed && row.output.notFinite == pixels)
        addKind("not finite once corrected", frame);
}

void RunNotes::addKind(const std::string& name, zt::u64 frame) {
    auto found = std::ranges::find(oddFrames, name, &Kind::name);
    if (found == oddFrames.end())
        found = oddFrames.insert(oddFrames.end(), Kind{name, {}});
    found->frames.push_back(frame);
}

std::vector<std::string> RunNotes::failures() const {
    std::vector<std::string> lines;
    for (const Failure& failure : failed) {
        std::string line = stack->where(failure.frames.front()) + ": " + failure.reason;
        if (const std::size_t more = failure.frames.size() - 1; more > 0)
            line += "; the same for " + countText(more, "more frame") + ": " +
                    frameListText({failure.frames.begin() + 1, failure.frames.end()});
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string RunNotes::clippedText() const {
    return countText(clippedPixels, "pixel") + " outside the range of the output clipped, in " +
           countText(clippedFrames.size(), "frame") + ": " + frameListText(clippedFrames) +
           "; a wider --scale stores them";
}

std::vector<std::string> RunNotes::remarks() const {
    std::vector<std::string> lines;
    for (const Kind& kind : oddFrames)
        lines.push_back(countText(kind.frames.size(), "frame") +
                        (kind.frames.size() == 1 ? " is " : " are ") + kind.name + ": " +
                        frameListText(kind.frames));
    if (clippedPixels > 0)
        lines.push_back(clippedText());
    if (notPositive != 0)
        lines.push_back(countText(notPositive, "pixel") + " of " + countText(framesNotPositive, "frame") +
                        (notPositive == 1 ? " is" : " are") +
                        " 0 or below and thus without attenuation: NaN in the output");
    return lines;
}

} // namespace ombrel
