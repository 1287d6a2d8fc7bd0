#include "calibration/ThicknessMasks.h"

#include "base/Error.h"
#include "base/NumberText.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ombrel {

namespace {

std::vector<std::string> splitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', begin)) {
        parts.push_back(text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

ThicknessMask parseThicknessMask(const std::string& text) {
    const auto equals = text.find('=');
    const auto thickness = readNumber<double>(text.substr(0, equals));
    if (equals == std::string::npos || !thickness || !std::isfinite(*thickness))
        throw UsageError("--mask " + text + ": not a mask; write THICKNESS=FILE[,FILE...]");
    ThicknessMask mask{*thickness, splitAtCommas(text.substr(equals + 1))};
    if (std::ranges::find(mask.files, "") != mask.files.end())
        throw UsageError("--mask " + text + ": a file has no name; write THICKNESS=FILE[,FILE...]");
    return mask;
}

double timeOf(const Frame& frame, const std::string& where) {
    const double time = frame.acqTime();
    if (time == 0)
        throw Error(where + ": Acquisition time cannot be zero; give --acq-time SECONDS");
    if (!(time > 0) || std::isinf(time))
        throw Error(where + ": an acquisition time of " + numberText(time) +
                    " s is none; give --acq-time SECONDS");
    return time;
}

} // namespace

std::vector<ThicknessMask> parseThicknessMasks(const std::vector<std::string>& texts) {
    std::vector<ThicknessMask> masks;
    for (const std::string& text : texts)
        masks.push_back(parseThicknessMask(text));
    std::ranges::stable_sort(masks, {}, &ThicknessMask::thickness);
    const auto twice = std::ranges::adjacent_find(masks, {}, &ThicknessMask::thickness);
    if (twice != masks.end()) {
        const std::string thickness = numberText(twice->thickness);
        throw UsageError("--mask " + thickness + "=... is given twice; write --mask " + thickness +
                         "=FILE,FILE for files that belong together");
    }
    return masks;
}

double MaskSum::countsPerSecond() const {
    double sum = 0;
    std::size_t count = 0;
    for (const double pixel : std::as_const(*frame).pixels<double>())
        if (std::isfinite(pixel)) {
            sum += pixel;
            ++count;
        }
    return count == 0 ? 0 : sum / static_cast<double>(count) / seconds;
}

MaskSum sumFrames(FrameStack& stack, std::optional<double> acqTime) {
    MaskSum sum{Frame::create(stack.width(), stack.height(), zt::DT_DOUBLE)};
    for (zt::u64 i = 0; i < stack.frameCount(); ++i) {
        const FramePtr frame = stack.readFrame(i);
        sum.seconds += acqTime ? *acqTime : timeOf(*frame, stack.where(i));
        sum.frame->addFrame(frame.get());
    }
    return sum;
}

} // namespace ombrel
