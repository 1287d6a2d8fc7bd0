#include "host/ParamMgr.h"

#include "host/ParamText.h"

#include <algorithm>

namespace ombrel {

Param& ParamMgr::create(ParamInfo info, ParamValue value) {
    return *owned.emplace_back(std::make_unique<Param>(std::move(info), std::move(value)));
}

zt::IParam* ParamMgr::createBool(const char* name, const char* description, bool value,
                                 zt::ParamCallback callback, void* userData, int flags) {
    return &create({textOf(name), textOf(description), callback, userData, flags}, value);
}

zt::IParam* ParamMgr::createInt(const char* name, const char* description, zt::i32 value,
                                zt::ParamCallback callback, void* userData, int flags) {
    return &create({textOf(name), textOf(description), callback, userData, flags}, value);
}

zt::IParam* ParamMgr::createDouble(const char* name, const char* description, double value,
                                   zt::ParamCallback callback, void* userData, int flags) {
    return &create({textOf(name), textOf(description), callback, userData, flags}, value);
}

zt::IParam* ParamMgr::createString(const char* name, const char* description, const char* value,
                                   zt::ParamCallback callback, void* userData, int flags) {
    return &create({textOf(name), textOf(description), callback, userData, flags}, textOf(value));
}

zt::IParam* ParamMgr::param(const char* name) {
    const auto found =
        std::ranges::find_if(owned, [&](const auto& each) { return textOf(name) == each->name(); });
    return found == owned.end() ? nullptr : found->get();
}

void ParamMgr::params(zt::IPtrList<zt::IParam*>* out) const {
    for (const auto& each : owned)
        out->add(each.get());
}

} // namespace ombrel
