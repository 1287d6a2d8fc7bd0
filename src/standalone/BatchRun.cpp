#include "standalone/BatchRun.h"

#include "host/DataType.h"
#include "standalone/Chain.h"
#include "standalone/Error.h"
#include "standalone/Frame.h"
#include "standalone/FrameOutput.h"
#include "standalone/FrameStack.h"
#include "standalone/PixelConversion.h"

#include <memory>
#include <vector>

namespace ombrel {

namespace {

// Makes the output at the first good frame; what failed before that is written then.
class LateOutput {
public:
    explicit LateOutput(const BatchPlan& batch) : plan(batch) {}

    void append(Frame& frame) {
        if (!output)
            make(frame.width(), frame.height());
        if (frame.width() != width || frame.height() != height)
            throw Error(plan.outputPath + ": a corrected frame has " +
                        sizeText(frame.width(), frame.height()) + " pixels, the first one had " +
                        sizeText(width, height));
        output->append(frame.pixels<double>());
    }

    void appendFailed(const std::string& reason) {
        if (output)
            output->appendFailed(reason);
        else
            earlyFailures.push_back(reason);
    }

    bool exists() const { return output != nullptr; }

    void finish() {
        if (output)
            output->finish();
    }

private:
    static std::string sizeText(zt::u32 columns, zt::u32 rows) {
        return std::to_string(columns) + " x " + std::to_string(rows);
    }

    void make(zt::u32 columns, zt::u32 rows) {
        width = columns;
        height = rows;
        output =
            FrameOutput::create({plan.outputPath, width, height, plan.end - plan.begin, plan.outputType});
        for (const std::string& reason : earlyFailures)
            output->appendFailed(reason);
    }

    const BatchPlan& plan;
    std::unique_ptr<FrameOutput> output;
    zt::u32 width = 0;
    zt::u32 height = 0;
    std::vector<std::string> earlyFailures;
};

// The pixels as doubles, for a listener that wants to see the frame before it was changed.
std::vector<double> copyOfPixels(const Frame& frame) {
    std::vector<double> pixels(frame.size());
    convertPixels(frame.bytes().data(), frame.frameDataType(), reinterpret_cast<std::byte*>(pixels.data()),
                  zt::DT_DOUBLE, pixels.size());
    return pixels;
}

FrameResult correctFrame(const BatchPlan& plan, const BatchListener& listener, zt::u64 index) {
    FramePtr frame;
    try {
        frame = plan.stack.readFrame(index);
    } catch (const Error& error) {
        return {nullptr, error.what()};
    }
    if (plan.acqTime)
        frame->setAcqTime(*plan.acqTime);
    const std::vector<double> raw = listener.frameCorrected ? copyOfPixels(*frame) : std::vector<double>();
    FrameResult result = plan.chain.apply(std::move(frame), plan.mode);
    if (result.frame) {
        result.frame->convertToType(zt::DT_DOUBLE);
        if (listener.frameCorrected)
            listener.frameCorrected(index, raw, result.frame->pixels<double>());
    }
    return result;
}

} // namespace

BatchResult runBatch(const BatchPlan& plan, const BatchListener& listener) {
    BatchResult result;
    LateOutput output(plan);
    for (zt::u64 index = plan.begin; index < plan.end; ++index) {
        result.stopped = listener.wantsStop && listener.wantsStop();
        if (result.stopped)
            break;
        if (const FrameResult corrected = correctFrame(plan, listener, index); corrected.frame) {
            output.append(*corrected.frame);
            ++result.corrected;
        } else {
            output.appendFailed(corrected.failure);
            if (listener.frameFailed)
                listener.frameFailed(index, corrected.failure);
            ++result.failed;
        }
        if (listener.frameDone)
            listener.frameDone(index);
    }
    result.hasOutput = output.exists();
    if (!result.stopped)
        output.finish();
    return result;
}

} // namespace ombrel
