#include "run/BatchRun.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/MemoryBudget.h"
#include "base/Numbers.h"
#include "base/OrderedPipeline.h"
#include "frame/PixelType.h"
#include "stack/FrameStack.h"
#include "zt/Types.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace ombrel {

namespace {

// The number of frames in the pipeline: enough to keep all threads busy, limited by memory.
std::size_t framesInFlight(const BatchPlan& plan) {
    // One per worker, one being read and one being written, and as many waiting.
    const std::size_t wanted = 2 * (plan.workers.size() + 2);
    // The frame as read, a copy in double and the stored frame.
    const zt::u64 frameBytes = zt::u64{plan.stack.width()} * plan.stack.height() * 3 * sizeof(double);
    const zt::u64 room = availableMemory() / 2 / std::max<zt::u64>(frameBytes, 1);
    return static_cast<std::size_t>(std::clamp<zt::u64>(room, 1, wanted));
}

// A frame in the pipeline.
struct BatchFrame {
    zt::u64 index = 0;
    FramePtr frame; // as read, then as stored; null after a failure
    FrameRow row;
    // Filled only if a listener needs them.
    std::vector<double> raw;
    std::vector<double> corrected;
};

std::vector<double> doublesOf(const Frame& frame) {
    std::vector<double> pixels(frame.size());
    convertPixels(frame.bytes().data(), frame.frameDataType(), reinterpret_cast<std::byte*>(pixels.data()),
                  zt::DT_DOUBLE, pixels.size());
    return pixels;
}

template <typename T>
void useOneNan(std::span<T> pixels) {
    for (T& pixel : pixels)
        if (std::isnan(pixel))
            pixel = std::numeric_limits<T>::quiet_NaN();
}

// Of two NaNs an operation returns that of its first operand, so the bits of a NaN depend on the generated
// code. The file must not.
void useOneNan(Frame& frame) {
    if (frame.frameDataType() == zt::DT_DOUBLE)
        useOneNan(frame.pixels<double>());
    else
        useOneNan(frame.pixels<float>());
}

void fail(BatchFrame& item, const std::string& reason) {
    item.frame.reset();
    item.row.failed = true;
    item.row.reason = reason;
}

class Batch {
public:
    Batch(const BatchPlan& batchPlan, const BatchListener& batchListener)
        : plan(batchPlan), listener(batchListener), output(plan),
          firstToStore(plan.begin + (plan.begun ? plan.begun->framesDone : 0)),
          next(plan.remembers ? 0 : firstToStore) {}

    BatchResult run() {
        using Pipeline = OrderedPipeline<BatchFrame>;
        const Pipeline::Steps steps{
            [&](BatchFrame& item) { return read(item); },
            [&](std::size_t worker, BatchFrame& item) { correct(plan.workers[worker], worker, item); },
            [&](BatchFrame& item) { store(item); },
        };
        Pipeline::run(steps, plan.workers.size(), framesInFlight(plan));
        result.hasOutput = output.exists();
        if (!result.stopped)
            output.finish();
        return result;
    }

private:
    bool read(BatchFrame& item) {
        result.stopped = next < plan.end && listener.wantsStop && listener.wantsStop();
        if (next == plan.end || result.stopped)
            return false;
        item.index = next++;
        try {
            item.frame = plan.stack.readFrame(item.index);
            item.row.inputHash = pixelHash(std::as_const(*item.frame).bytes());
        } catch (const Error& error) {
            fail(item, error.what());
        }
        return true;
    }

    void correct(Chain& chain, std::size_t worker, BatchFrame& item) const {
        if (!item.frame)
            return;
        if (plan.acqTime)
            item.frame->setAcqTime(*plan.acqTime);
        item.row.input = figuresOf(*item.frame);
        if (listener.frameCorrected)
            item.raw = doublesOf(*item.frame);
        const auto start = std::chrono::steady_clock::now();
        FrameResult corrected = chain.apply(std::move(item.frame), plan.mode);
        item.row.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (plan.choice)
            item.row.choice = plan.choice(worker, item.index);
        if (!corrected)
            return fail(item, corrected.failure);
        item.frame = std::move(corrected.frame);
        // All figures describe the frame as stored, so that a user can reproduce them from the file.
        item.frame->convertToType(plan.output.pixelType);
        item.row.output = figuresOf(*item.frame);
        if (item.row.output.notFinite != 0)
            useOneNan(*item.frame);
        if (listener.frameCorrected)
            item.corrected = doublesOf(*item.frame);
        item.row.outputHash = pixelHash(std::as_const(*item.frame).bytes());
    }

    void store(const BatchFrame& item) {
        if (item.index < firstToStore)
            return;
        output.append(item.frame.get(), item.row);
        ++(item.row.failed ? result.failed : result.corrected);
        if (listener.frameRow)
            listener.frameRow(item.index, item.row);
        if (listener.frameCorrected && item.frame)
            listener.frameCorrected(item.index, item.raw, item.corrected);
        if (listener.frameDone)
            listener.frameDone(item.index);
    }

    const BatchPlan& plan;
    const BatchListener& listener;
    DeferredOutput output;
    zt::u64 firstToStore;
    zt::u64 next;
    BatchResult result;
};

} // namespace

BatchResult runBatch(const BatchPlan& plan, const BatchListener& listener) {
    return Batch(plan, listener).run();
}

DeferredOutput::DeferredOutput(const BatchPlan& batch) : plan(batch), made(batch.output) {
    if (plan.begun) {
        made = plan.begun->plan;
        output = FrameOutput::resume(*plan.begun);
    }
}

void DeferredOutput::append(const Frame* frame, const FrameRow& row) {
    if (!frame) {
        if (output)
            output->append({}, row);
        else
            earlyFailures.push_back(row);
        return;
    }
    if (!output)
        make(*frame);
    if (frame->width() != made.width || frame->height() != made.height)
        throw Error(made.path + ": a corrected frame has " + sizeText(frame->width(), frame->height()) +
                    " pixels, the first one had " + sizeText(made.width, made.height));
    output->append(frame->bytes(), row);
}

void DeferredOutput::make(const Frame& first) {
    made.width = first.width();
    made.height = first.height();
    made.frames = plan.end - plan.begin;
    output = FrameOutput::create(made);
    for (const FrameRow& row : earlyFailures)
        output->append({}, row);
}

void DeferredOutput::finish() {
    if (output)
        output->finish();
}

} // namespace ombrel
