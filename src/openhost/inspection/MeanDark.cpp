#include "inspection/MeanDark.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace ombrel {

namespace {

void refuseIfFew(const JudgedDarks& darks) {
    if (2 * darks.good.size() < darks.stack->frameCount())
        throw Error(darks.stack->info(0).path + ": only " + std::to_string(darks.good.size()) + " of " +
                    countText(darks.stack->frameCount(), "dark frame") +
                    " are good; check them, give --keep-all, or --dark none to subtract nothing");
}

std::string hashOf(const DarkField& dark) {
    StreamHash hash;
    hash.add(std::as_bytes(std::span(&dark.width, 1)));
    hash.add(std::as_bytes(std::span(dark.mean)));
    return hash.text();
}

DarkField meanOfGood(const std::vector<JudgedDarks>& sets) {
    FrameStack& first = *sets.front().stack;
    const FramePtr sum = Frame::create(first.width(), first.height(), zt::DT_DOUBLE);
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
