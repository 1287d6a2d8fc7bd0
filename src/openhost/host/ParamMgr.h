#pragma once

#include "host/Param.h"
#include "zt/IParamMgr.h"

#include <memory>
#include <vector>

namespace ombrel {

// The parameters of one filter. Of two with the same name, param() gives the first.
class ParamMgr final : public zt::IParamMgr {
public:
    // A parameter of any type; the manager owns it.
    Param& create(ParamInfo info, ParamValue value);

    zt::IParam* createBool(const char* name, const char* description, bool value, zt::ParamCallback callback,
                           void* userData, int flags) override;
    zt::IParam* createInt(const char* name, const char* description, zt::i32 value,
                          zt::ParamCallback callback, void* userData, int flags) override;
    zt::IParam* createDouble(const char* name, const char* description, double value,
                             zt::ParamCallback callback, void* userData, int flags) override;
    zt::IParam* createString(const char* name, const char* description, const char* value,
                             zt::ParamCallback callback, void* userData, int flags) override;
    zt::IParam* param(const char* name) override;
    zt::u64 paramCount() const override { return owned.size(); }
    void params(zt::IPtrList<zt::IParam*>* out) const override;
    void destroy() override { delete this; }

private:
    std::vector<std::unique_ptr<Param>> owned;
};

} // namespace ombrel
