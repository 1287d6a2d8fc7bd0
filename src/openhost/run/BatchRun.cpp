#include "run/BatchRun.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/OrderedPipeline.h"
#include "base/Resources.h"
#include "base/Stopwatch.h"
#include "frame/PixelDigest.h"
#include "frame/PixelType.h"
#include "run/FrameLevels.h"
#include "stack/FrameStack.h"
#include "uncertainty/SigmaModel.h"
#include "zt/Types.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace ombrel {

std::size_t readersFor(const FrameStack& stack, std::size_t workers) {
    return stack.readsInAnyOrder() ? std::clamp<std::size_t>(workers / 4, 1, 3) : 1;
}

std::size_t framesInFlight(const FrameStack& stack, std::size_t workers) {
    // One per worker, and four that are read, written or waiting.
    const std::size_t wanted = workers + 4;
    // The frame as read, a copy in double and the stored frame.
    const zt::u64 frameBytes = zt::u64{stack.width()} * stack.height() * 3 * sizeof(double);
    const zt::u64 room = availableMemory() / 2 / std::max<zt::u64>(frameBytes, 1);
    return static_cast<std::size_t>(std::clamp<zt::u64>(room, 1, wanted));
}

namespace {

// A frame in the pipeline.
struct BatchFrame {
    zt::u64 index = 0;
    Stopwatch way;
    FrameTimes times;
    FramePtr frame; // as read, then as stored; null after a failure
    FrameRow row;
    FrameSigma sigma; // empty unless wanted
    // Filled only if a listener needs them.
    std::vector<double> raw;
    std::vector<double> corrected;
};

// Converts a block of pixels to the output's type, and first from counts to the quantity of the output.
class BlockStore {
public:
    BlockStore(zt::u8 fromType, zt::u8 toType, const FrameScale& frameScale)
        : from(fromType), to(toType), scale(frameScale),
          scaled(frameScale.quantity == Quantity::Counts ? 0 : blockPixels) {}

    void convert(const std::byte* pixels, std::span<std::byte> stored) {
        const std::size_t count = stored.size() / pixelSize(to);
        if (scaled.empty())
            return convertPixels(pixels, from, stored.data(), to, count);
        const auto block = std::span(scaled).first(count);
        auto* const bytes = reinterpret_cast<std::byte*>(block.data());
        convertPixels(pixels, from, bytes, zt::DT_DOUBLE, count);
        notPositivePixels += scale.convert(block);
        convertPixels(bytes, zt::DT_DOUBLE, stored.data(), to, count);
    }
    zt::u64 notPositive() const { return notPositivePixels; }

private:
    zt::u8 from;
    zt::u8 to;
    FrameScale scale;
    std::vector<double> scaled; // empty for counts
    zt::u64 notPositivePixels = 0;
};

// The frame as stored, in the output's pixel type, which is added to the digest block by block.
FramePtr storedForm(FramePtr frame, zt::u8 outputType, const FrameScale& scale, FrameRow& row) {
    const zt::u8 type = frame->frameDataType();
    PixelDigest digest(outputType);
    if (type == outputType && scale.quantity == Quantity::Counts) {
        digest.addWithOneNan(frame->bytes());
    } else {
        FramePtr stored = Frame::createUnfilled(frame->width(), frame->height(), outputType);
        BlockStore store(type, outputType, scale);
        const std::size_t fromBytes = pixelSize(type);
        const std::size_t toBytes = pixelSize(outputType);
        for (std::size_t start = 0; start < frame->size(); start += blockPixels) {
            const std::size_t count = std::min<std::size_t>(blockPixels, frame->size() - start);
            const auto block = stored->bytes().subspan(start * toBytes, count * toBytes);
            store.convert(std::as_const(*frame).bytes().data() + start * fromBytes, block);
            digest.addWithOneNan(block);
        }
        row.notPositive = store.notPositive();
        frame = std::move(stored);
    }
    // All figures describe the frame as stored, so that a user can reproduce them from the file.
    row.output = digest.figures();
    row.outputHash = digest.hash();
    return frame;
}

// The standard deviations of the quantity of the output.
FrameSigma sigmaOf(FrameSigma ofCounts, const FrameScale& scale, const Frame& corrected) {
    if (scale.quantity != Quantity::Counts) {
        const auto counts = doublesOf(corrected);
        scale.convertErrors(ofCounts.total, counts);
        scale.convertErrors(ofCounts.calibration, counts);
    }
    return ofCounts;
}

// The frame in 16 bits. Its figures are those of the values that are read back.
FramePtr packedForm(const Frame& frame, const PixelPacking& packing, const FrameScale& scale, FrameRow& row) {
    FramePtr stored = Frame::createUnfilled(frame.width(), frame.height(), zt::DT_U16);
    const zt::u8 type = frame.frameDataType();
    PixelFigures figures(zt::DT_DOUBLE);
    std::array<double, blockPixels> block;
    for (std::size_t start = 0; start < frame.size(); start += blockPixels) {
        const std::size_t count = std::min<std::size_t>(blockPixels, frame.size() - start);
        const std::span values(block.data(), count);
        convertPixels(frame.bytes().data() + start * pixelSize(type), type,
                      reinterpret_cast<std::byte*>(values.data()), zt::DT_DOUBLE, count);
        const auto packed = stored->pixels<zt::u16>().subspan(start, count);
        row.notPositive += scale.convert(values);
        row.clipped += packing.pack(values, packed);
        packing.unpack(packed, values);
        figures.add(std::as_bytes(values));
    }
    row.output = figures.result();
    row.outputHash = pixelHash(std::as_const(*stored).bytes());
    return stored;
}

std::vector<double> valuesOf(const Frame& stored, const std::optional<PixelPacking>& packing) {
    if (!packing)
        return doublesOf(stored);
    std::vector<double> values(stored.size());
    packing->unpack(stored.pixels<zt::u16>(), values);
    return values;
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
            [&](BatchFrame& item) { return begin(item); },
            [&](BatchFrame& item) { read(item); },
            [&](std::size_t worker, BatchFrame& item) { correct(plan.workers[worker], worker, item); },
            [&](BatchFrame& item) { store(item); },
        };
        Pipeline::run(steps, {readersFor(plan.stack, plan.workers.size()), plan.workers.size(),
                              framesInFlight(plan.stack, plan.workers.size())});
        result.hasOutput = output.exists();
        if (!result.stopped)
            output.finish();
        return result;
    }

private:
    bool begin(BatchFrame& item) {
        result.stopped = next < plan.end && listener.wantsStop && listener.wantsStop();
        if (next == plan.end || result.stopped)
            return false;
        item.index = next++;
        return true;
    }

    void read(BatchFrame& item) const {
        item.way = Stopwatch();
        PixelDigest digest(plan.stack.pixelType(item.index));
        try {
            item.frame = plan.stack.readFrame(item.index, &digest);
        } catch (const Error& error) {
            return fail(item, error.what());
        }
        item.row.inputHash = digest.hash();
        item.row.input = digest.figures();
        item.times.read = item.way.seconds();
    }

    void correct(Chain& chain, std::size_t worker, BatchFrame& item) const {
        if (!item.frame)
            return;
        if (plan.acqTime)
            item.frame->setAcqTime(*plan.acqTime);
        if (listener.frameCorrected)
            item.raw = doublesOf(*item.frame);
        const auto marked = plan.marks ? plan.marks->fill(*item.frame) : std::vector<zt::u32>();
        item.row.marked = marked.size();
        if (!plan.dark.empty())
            item.frame->subtract(plan.dark);
        const auto counts = plan.sigma ? FrameCounts::of(*item.frame, marked) : FrameCounts();
        const Stopwatch filtering;
        FrameResult corrected = chain.apply(std::move(item.frame), plan.mode);
        item.row.seconds = item.times.filter = filtering.seconds();
        if (plan.choice)
            item.row.choice = plan.choice(worker, item.index);
        if (!corrected)
            return fail(item, corrected.failure);
        if (plan.marks)
            plan.marks->finish(*corrected.frame, marked);
        const Stopwatch storing;
        FrameScale scale;
        try {
            if (plan.levels)
                scale = plan.levels->of(*corrected.frame, item.row.choice);
        } catch (const Error& error) {
            return fail(item, error.what());
        }
        if (plan.levels)
            item.row.level = scale.level;
        if (plan.sigma)
            item.sigma = sigmaOf(plan.sigma->of(counts, item.row.choice), scale, *corrected.frame);
        item.frame = plan.output.packing
                         ? packedForm(*corrected.frame, *plan.output.packing, scale, item.row)
                         : storedForm(std::move(corrected.frame), plan.output.pixelType, scale, item.row);
        item.times.write = storing.seconds();
        if (listener.frameCorrected)
            item.corrected = valuesOf(*item.frame, plan.output.packing);
    }

    void store(BatchFrame& item) {
        if (item.index < firstToStore)
            return;
        const Stopwatch storing;
        output.append(item.frame.get(), item.sigma, item.row);
        item.times.write += storing.seconds();
        item.times.way = item.way.seconds();
        ++(item.row.failed ? result.failed : result.corrected);
        if (listener.frameRow)
            listener.frameRow(item.index, item.row);
        if (listener.frameTimed && item.frame)
            listener.frameTimed(item.times);
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

void DeferredOutput::append(const Frame* frame, const FrameSigma& sigma, const FrameRow& row) {
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
    storePlanes(sigma);
    output->append(frame->bytes(), row);
}

void DeferredOutput::storePlanes(const FrameSigma& sigma) {
    for (std::size_t plane = 0; plane < made.planes.size(); ++plane)
        output->storePlane(plane, plane == 0 ? sigma.total : sigma.calibration);
}

void DeferredOutput::make(const Frame& first) {
    made.width = first.width();
    made.height = first.height();
    made.frames = plan.end - plan.begin;
    if (made.touched.size() != first.size()) // another plug-in's filter may change the size
        made.touched.clear();
    output = FrameOutput::create(made);
    for (const FrameRow& row : earlyFailures)
        output->append({}, row);
}

void DeferredOutput::finish() {
    if (output)
        output->finish();
}

} // namespace ombrel
