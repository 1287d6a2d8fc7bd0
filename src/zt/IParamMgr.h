#pragma once

#include "zt/IParam.h"
#include "zt/IPtrList.h"
#include "zt/Types.h"

namespace zt {

// The parameters of one filter, in the order of their creation. Who created the manager ends it with
// destroy(), and its parameters with it.
class IParamMgr {
public:
    // Each creates a parameter that the manager owns, with a value of the type in the name. The texts are
    // copied; `callback` may be null; `flags` is a ParamCreateFlag.
    virtual IParam* createBool(const char* name, const char* description, bool value, ParamCallback callback,
                               void* userData, int flags) = 0;
    virtual IParam* createInt(const char* name, const char* description, i32 value, ParamCallback callback,
                              void* userData, int flags) = 0;
    virtual IParam* createDouble(const char* name, const char* description, double value,
                                 ParamCallback callback, void* userData, int flags) = 0;
    virtual IParam* createString(const char* name, const char* description, const char* value,
                                 ParamCallback callback, void* userData, int flags) = 0;
    // Null when there is none of that name.
    virtual IParam* param(const char* name) = 0;
    virtual u64 paramCount() const = 0;
    virtual void params(IPtrList<IParam*>* out) const = 0;
    virtual void destroy() = 0;
};

} // namespace zt
