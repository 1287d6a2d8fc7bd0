#include "inspection/MeanDark.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/Statistics.h"

#include <algorithm>
#include <cmath>

namespace ombrel {

namespace {

void refuseIfFew(const JudgedDarks& darks) {
    if (2 * darks.good.size() < darks.stack->frameCount())
        throw Error(darks.stack->info(0).path + ": only " + std::to_string(darks.good.size()) + " of " +
                    countText(darks.stack->frameCount(), "dark frame") +
                    " are good; check them, give --keep-all, or --dark none to subtract nothing");
}

// How much a pixel varies from one dark frame to the next.
class DarkVariance {
public:
    void add(const Frame& frame) {
        const auto pixels = doublesOf(frame);
        if (first.empty())
            first = pixels;
        sums.resize(pixels.size());
        squares.resize(pixels.size());
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const double change = pixels[i] - first[i]; // small, so that squares lose no digits
            sums[i] += change;
            squares[i] += change * change;
        }
        ++frames;
    }
    // Of the half of the pixels that count least, so that hot pixels have no influence.
    std::optional<double> typical(const std::vector<double>& mean) const {
        if (frames < 2)
            return std::nullopt;
        const double most = medianOfCopy(mean);
        double variance = 0, pixels = 0;
        for (std::size_t i = 0; i < mean.size(); ++i)
            if (mean[i] <= most) {
                variance += (squares[i] - sums[i] * sums[i] / frames) / (frames - 1);
                ++pixels;
            }
        return variance / pixels;
    }

private:
    std::vector<double> first;
    std::vector<double> sums; // of the changes since the first frame
    std::vector<double> squares;
    double frames = 0;
};

DarkField meanOfGood(const std::vector<JudgedDarks>& sets) {
    FrameStack& first = *sets.front().stack;
    const FramePtr sum = Frame::create(first.width(), first.height(), zt::DT_DOUBLE);
    DarkVariance variance;
    DarkField dark;
    dark.width = first.width();
    dark.height = first.height();
    bool sameTime = true;
    for (const JudgedDarks& set : sets) {
        refuseIfFew(set);
        checkDarkSize(dark, set.stack->width(), set.stack->height(), set.stack->info(0).path);
        for (const std::size_t i : set.good) {
            const FramePtr frame = set.stack->readFrame(i);
            sum->addFrame(frame.get());
            variance.add(*frame);
            sameTime = sameTime && (dark.frames == 0 || frame->acqTime() == dark.seconds);
            dark.seconds = frame->acqTime();
            ++dark.frames;
        }
    }
    dark.seconds = sameTime ? dark.seconds : 0;
    sum->multiplyBy(1.0 / dark.frames);
    const auto pixels = std::as_const(*sum).pixels<double>();
    dark.mean.assign(pixels.begin(), pixels.end());
    if (!std::ranges::all_of(dark.mean, [](double pixel) { return std::isfinite(pixel); }))
        throw Error(first.info(0).path + ": a pixel of the dark frames is not a number; leave out such "
                                         "frames, or give --dark none to subtract nothing");
    dark.variance = variance.typical(dark.mean);
    dark.hash = hashOf(dark);
    return dark;
}

} // namespace

std::optional<DarkField> measureDark(const std::string& option, const std::vector<std::string>& inputs,
                                     FieldInspection& inspection) {
    const auto sets = isDarkFile(option) ? inspection.judgeDarkFile(option) : inspection.judgeDarks(inputs);
    return sets.empty() || option == noDark ? std::nullopt : std::optional(meanOfGood(sets));
}

void checkDarkSize(const DarkField& dark, zt::u32 width, zt::u32 height, const std::string& whose) {
    if (dark.width != width || dark.height != height)
        throw Error(whose + ": its frames have " + sizeText(width, height) + " pixels, but the dark has " +
                    sizeText(dark.width, dark.height) +
                    "; give other dark frames by --dark FILE, or --dark none to subtract nothing");
}

std::string darkTimeNote(const DarkField& dark, double seconds, const std::string& whose) {
    if (dark.seconds == 0 || seconds == 0 || dark.seconds == seconds)
        return {};
    return whose + ": the frames were exposed for " + numberText(seconds) + " s, the dark frames for " +
           numberText(dark.seconds) + " s; the dark is subtracted as it is";
}

} // namespace ombrel
