#include "run/LateOutput.h"

#include "base/Error.h"
#include "base/SizeText.h"

namespace ombrel {

LateOutput::LateOutput(const BatchPlan& batch) : plan(batch), made(batch.output) {
    if (plan.begun) {
        made = plan.begun->plan;
        output = FrameOutput::resume(*plan.begun);
    }
}

void LateOutput::append(const Frame* frame, const FrameRow& row) {
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

void LateOutput::make(const Frame& first) {
    made.width = first.width();
    made.height = first.height();
    made.frames = plan.end - plan.begin;
    output = FrameOutput::create(made);
    for (const FrameRow& row : earlyFailures)
        output->append({}, row);
}

void LateOutput::finish() {
    if (output)
        output->finish();
}

} // namespace ombrel
