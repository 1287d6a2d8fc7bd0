#include "run/SharedChain.h"

#include "base/Numbers.h"
#include "run/RunDark.h"
#include "run/TouchedPixels.h"

#include <utility>

namespace ombrel {

namespace {

RunOptions forOneChain(RunOptions options) {
    options.jobs = 1;
    options.noChoice = true;
    return options;
}

} // namespace

SharedChain::SharedChain(const RunOptions& runOptions, FrameSize size, std::vector<zt::u8> deviceMask,
                         Console& messages)
    : options(forOneChain(runOptions)), console(messages),
      session(messages, options.plugin, {options.deviceType, size.width, size.height}),
      marks(options.marks, deviceMask) {
    // The filters may use the mask while they are loaded.
    if (!deviceMask.empty())
        session.device().pixels().setMask(deviceMask);
    const std::lock_guard lock(makeMutex);
    WorkerChains first = makeWorkerChains(session, options, 1, console);
    takeDark(first.facts);
    isAlone = first.remember;
    giveBack(std::move(first.chains.front()));
}

void SharedChain::takeDark(const std::vector<LinkFacts>& facts) {
    dark = darkOfCalibrations(facts);
    if (dark && (dark->width != width() || dark->height != height()))
        throw Misfit("the frames have " + sizeText(width(), height()) +
                     " pixels, but the dark of the calibration has " + sizeText(dark->width, dark->height));
}

FrameResult SharedChain::apply(FramePtr frame) {
    std::unique_lock order(oneByOne, std::defer_lock);
    if (isAlone)
        order.lock();
    Chain chain = take();
    FrameResult result = applyWith(chain, std::move(frame));
    giveBack(std::move(chain));
    return result;
}

Chain SharedChain::take() {
    {
        const std::lock_guard lock(mutex);
        if (!idle.empty()) {
            Chain chain = std::move(idle.back());
            idle.pop_back();
            return chain;
        }
    }
    return make();
}

Chain SharedChain::make() {
    const std::lock_guard lock(makeMutex);
    return std::move(makeWorkerChains(session, options, 1, console).chains.front());
}

void SharedChain::giveBack(Chain chain) {
    const std::lock_guard lock(mutex);
    idle.push_back(std::move(chain));
}

FrameResult SharedChain::applyWith(Chain& chain, FramePtr frame) const {
    const auto marked = marks.fill(*frame);
    if (dark)
        frame->subtract(dark->mean);
    FrameResult result = chain.apply(std::move(frame), dark ? ApplyMode::Replace : ApplyMode::CopyOnce);
    if (!result)
        return result;
    result.frame->convertToType(zt::DT_DOUBLE);
    result.frame->makeOwn();
    marks.finish(*result.frame, marked);
    return result;
}

std::vector<zt::u32> SharedChain::touched(const std::optional<PixelMask>& mask) {
    Chain chain = take();
    std::vector<FilterLink*> links;
    for (FilterLink& link : chain.links())
        links.push_back(&link);
    std::vector<zt::u32> pixels = touchedPixels(session.host(), session.device(), links, mask);
    giveBack(std::move(chain));
    return pixels;
}

} // namespace ombrel
