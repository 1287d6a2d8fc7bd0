#include "worker/StackViewer.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "frame/FrameOutput.h"
#include "frame/PixelFaults.h"
#include "frame/PixelType.h"
#include "host/Device.h"
#include "model/BatchOptions.h"
#include "run/RunSigma.h"
#include "run/TouchedPixels.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <functional>
#include <string_view>

namespace ombrel::workbench {

namespace {

FramePtr copyOf(const Frame& frame) {
    return FramePtr(dynamic_cast<Frame*>(static_cast<zt::IMpxFrame*>(frame.clone())));
}

PaneView paneOf(const Frame& frame) {
    PaneView pane;
    pane.image = imageOf(frame);
    pane.figures = figuresOf(frame);
    pane.limits = robustLimits(pane.image->pixels);
    pane.histogram = histogramOf(pane.image->pixels, pane.limits);
    return pane;
}

// Limits symmetric around zero.
PaneView differencePane(const PaneView& corrected, const PaneView& base) {
    PaneView pane;
    pane.image = differenceOf(corrected.image, base.image);
    if (!pane.image)
        return pane;
    const ScaleLimits limits = robustLimits(pane.image->pixels);
    pane.limits.high = std::max(std::abs(limits.low), std::abs(limits.high));
    pane.limits.low = -pane.limits.high;
    return pane;
}

} // namespace

bool StackViewer::open(const FrameRequest& request) {
    if (stack && request.opening == opening)
        return false;
    // The open stack is replaced only after everything of the new one was created.
    auto newStack = std::make_unique<FrameStack>(request.inputs, FrameRole::Sample);
    const zt::u32 width = newStack->width();
    const zt::u32 height = newStack->height();
    auto newHost = std::make_shared<PluginHost>(pluginPath, width, height, sink);
    auto newMask = deviceMaskFor(maskOptions(request.device), newStack->info(0));
    if (newMask)
        newHost->device().pixels().setMask(newMask->deviceBytes());
    auto newFaults = newStack->info(0).run
                         ? FrameOutput::touchedIn(splitDatasetPath(newStack->info(0).path).file)
                         : std::vector<zt::u32>();
    auto newChain = std::make_unique<RunningChain>(newHost);
    running = std::move(newChain);
    host = std::move(newHost);
    stack = std::move(newStack);
    mask = std::move(newMask);
    marks.emplace(MarkOptions(), mask ? mask->deviceBytes() : std::vector<zt::u8>());
    storedFaults = std::move(newFaults);
    findFaults();
    chainState = {};
    raw.reset();
    view = {};
    openInputs = request.inputs;
    opening = request.opening;
    return true;
}

void StackViewer::findFaults() {
    sigma.reset();
    noSigma.clear();
    auto all = touchedPixels(host->host(), host->device(), running->activeLinks(), mask);
    if (storedFaults.size() == all.size())
        std::ranges::transform(all, storedFaults, all.begin(), std::bit_or());
    faults = countFaulty(all) == 0 ? nullptr : std::make_shared<const std::vector<zt::u32>>(std::move(all));
}

void StackViewer::makeSigma() {
    if (sigma || !noSigma.empty())
        return;
    try {
        sigma = makeSigmaModel({.host = host->host(),
                                .device = host->device(),
                                .stack = *stack,
                                .mask = mask,
                                .gain = {},
                                .dark = running->subtractedDark()},
                               running->loadedLinks());
    } catch (const Error& error) {
        constexpr std::string_view option = "--sigma: ";
        noSigma = error.what();
        if (noSigma.starts_with(option))
            noSigma.erase(0, option.size());
    }
}

void StackViewer::showSigma(const Frame& corrected, const FrameCounts& counts) {
    view.noSigma = noSigma;
    if (!sigma || corrected.size() != counts.counts.size())
        return;
    const FrameSigma errors = sigma->of(counts, view.choice);
    auto image = std::make_shared<Image>(
        Image{corrected.width(), corrected.height(), {errors.total.begin(), errors.total.end()}});
    const ImagePtr& values = view.panes[CORRECTED_PANE].image;
    auto ratio = std::make_shared<Image>(*values);
    for (std::size_t i = 0; i < ratio->pixels.size(); ++i)
        ratio->pixels[i] /= image->pixels[i];
    view.sigma = std::move(image);
    view.signalToNoise.limits = robustLimits(ratio->pixels);
    view.signalToNoise.image = std::move(ratio);
}

FramePtr StackViewer::frameOf(FrameStack& frames, zt::u64 frame) const {
    FramePtr read = frames.readFrame(frame);
    if (device.acqTime)
        read->setAcqTime(*device.acqTime);
    return read;
}

bool StackViewer::read(const FrameRequest& request) {
    const zt::u64 frame = std::min(request.frame, stack->frameCount() - 1);
    if (raw && view.frame == frame && device == request.device)
        return false;
    device = request.device;
    const double seconds = view.seconds;
    raw.reset();
    view = {};
    view.opening = opening;
    view.frame = frame;
    view.seconds = seconds; // estimate until this frame is corrected
    try {
        raw = frameOf(*stack, frame);
        view.panes[RAW_PANE] = paneOf(*raw);
    } catch (const Error& error) {
        view.failure = error.what();
    }
    return true;
}

std::vector<LinkReport> StackViewer::follow(const ChainState& wanted) {
    if (!running)
        throw Error("no frames are open");
    if (wanted == chainState)
        return {};
    view.isComplete = false;
    chainState = {};
    try {
        auto reports = running->follow(wanted);
        chainState = wanted;
        findFaults();
        return reports;
    } catch (...) {
        running = std::make_unique<RunningChain>(host);
        findFaults();
        throw;
    }
}

void StackViewer::correct() {
    if (view.isComplete)
        return;
    view.isComplete = true;
    view.panes[CORRECTED_PANE] = view.panes[DIFFERENCE_PANE] = {};
    view.choice.reset();
    view.sigma.reset();
    view.noSigma.clear();
    view.signalToNoise = {};
    if (!raw)
        return;
    view.failure.clear();
    view.seconds = 0;
    if (std::ranges::none_of(chainState.links, &LinkState::enabled))
        return;
    FramePtr filled = copyOf(*raw);
    const std::vector<zt::u32> marked = marks->fill(*filled);
    try {
        running->subtractDark(*filled);
    } catch (const Error& error) {
        view.failure = error.what();
        return;
    }
    makeSigma();
    const auto counts = sigma ? FrameCounts::of(*filled, marked) : FrameCounts();
    const auto start = std::chrono::steady_clock::now();
    const FrameResult result = running->apply(std::move(filled));
    view.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!result) {
        view.failure = result.failure;
        return;
    }
    view.choice = running->choice();
    view.panes[CORRECTED_PANE] = paneOf(*result.frame);
    view.panes[DIFFERENCE_PANE] = differencePane(view.panes[CORRECTED_PANE], view.panes[RAW_PANE]);
    showSigma(*result.frame, counts);
}

ShownFramePtr StackViewer::show(const FrameRequest& request) const {
    auto shown = std::make_shared<ShownFrame>();
    shown->request = request.number;
    shown->view = view;
    shown->view.faults = faults;
    shown->view.showsSignalToNoise = request.view.signalToNoise;
    if (request.view.signalToNoise)
        shown->view.panes[DIFFERENCE_PANE] = view.signalToNoise;
    for (std::size_t pane = 0; pane < PANE_COUNT; ++pane)
        if (const ImagePtr& image = shown->view.panes[pane].image)
            shown->maps[pane] = makePaneMap(*image, request.view, pane != DIFFERENCE_PANE, faults);
    return shown;
}

StackFacts StackViewer::facts() const {
    return {openInputs,         opening,         stack->frameCount(),
            stack->width(),     stack->height(), std::string(pixelTypeName(stack->info(0).pixelType)),
            host->filterNames()};
}

std::vector<FramePtr> StackViewer::measuredFrames(zt::u64 most) {
    std::vector<FramePtr> frames;
    try {
        FrameStack flats(openInputs, FrameRole::Flat);
        if (flats.info(0).kinds)
            for (zt::u64 frame = 0; frame < std::min(most, flats.frameCount()); ++frame)
                frames.push_back(frameOf(flats, frame));
    } catch (const Error&) {
        frames.clear(); // the files have no flat fields
    }
    if (frames.empty() && raw)
        frames.push_back(copyOf(*raw));
    return frames;
}

} // namespace ombrel::workbench
