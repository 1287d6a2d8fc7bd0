#pragma once

#include "zt/IData.h"
#include "zt/IMpxFrame.h"

#include <memory>

namespace PluginOmbrel {

struct DestroyData {
    void operator()(zt::IData* data) const { data->destroy(); }
};

// A clone that a filter works on. Until it is released to the caller it is destroyed with its scope, so that
// a filter that fails or throws half-way leaves nothing behind.
using ClonedFrame = std::unique_ptr<zt::IMpxFrame, DestroyData>;

// `data` must be of type IData::TYPE_FRAME.
inline ClonedFrame cloneFrame(const zt::IData& data) {
    return ClonedFrame(static_cast<zt::IMpxFrame*>(data.clone()));
}

} // namespace PluginOmbrel
