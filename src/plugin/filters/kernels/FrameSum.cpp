#include "kernels/FrameSum.h"

#include "zt/DataType.h"
#include "zt/ErrorCode.h"
#include "zt/RefDataBuff.h"

namespace PluginOmbrel {

int FrameSum::add(zt::IMpxFrame& frame) {
    if (!sum) {
        sum.emplace(frames.createFrame(frame.width(), frame.height(), zt::DT_DOUBLE));
        if (!*sum) {
            sum.reset();
            return zt::ERR_GENERIC;
        }
        (*sum)->clear();
    }
    if ((*sum)->size() != frame.size())
        return zt::ERR_INVALID_INPUT;
    (*sum)->addFrame(&frame);
    ++count;
    return zt::ERR_NONE;
}

void FrameSum::divideByCount() {
    if (count > 1)
        (*sum)->multiplyBy(1.0 / count);
}

std::span<const double> FrameSum::pixels() const {
    zt::RefDataBuff<double> look;
    (*sum)->refData(&look, 0.0);
    return {look.data(), look.size()};
}

} // namespace PluginOmbrel
