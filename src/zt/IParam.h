#pragma once

#include "zt/IObject.h"
#include "zt/IStrList.h"
#include "zt/String.h"
#include "zt/Types.h"

#include <string>
#include <vector>

namespace zt {

class IParam;

// Called after a parameter changed; returns 0. `userData` is the pointer given when the parameter was
// created. Changes of the value arrive with `flag` false.
using ParamCallback = int (*)(IParam* param, bool flag, long userData);

// Flags given when a parameter is created.
enum ParamCreateFlag : int {
    PARAM_CREATE_READ_ONLY = 1,
    PARAM_CREATE_EDITABLE = 2,
};

// Flags read back from a parameter.
enum ParamFlag : u32 {
    PARAM_READ_ONLY = 1u << 0,
    PARAM_HAS_ALIASES = 1u << 2, // edited as a list of named values
};

// One named value of a filter. Its manager owns it.
class IParam {
public:
    virtual const char* name() const = 0;
    virtual const char* description() const = 0;
    virtual int type() const = 0; // DataType, 0 to 11

    // Each getter returns the value converted to its type.
    virtual i8 getI8() const = 0;
    virtual u8 getU8() const = 0;
    virtual bool getBool() const = 0;
    virtual i16 getI16() const = 0;
    virtual u16 getU16() const = 0;
    virtual i32 getInt() const = 0;
    virtual u32 getUInt() const = 0;
    virtual i64 getI64() const = 0;
    virtual u64 getU64() const = 0;
    virtual float getFloat() const = 0;
    virtual double getDouble() const = 0;
    virtual void getString(IString* out) const = 0;

    // Each setter stores the value, converted to the parameter's type, and calls the callback.
    virtual void setI8(i8 value) = 0;
    virtual void setU8(u8 value) = 0;
    virtual void setBool(bool value) = 0;
    virtual void setI16(i16 value) = 0;
    virtual void setU16(u16 value) = 0;
    virtual void setInt(i32 value) = 0;
    virtual void setUInt(u32 value) = 0;
    virtual void setI64(i64 value) = 0;
    virtual void setU64(u64 value) = 0;
    virtual void setFloat(float value) = 0;
    virtual void setDouble(double value) = 0;
    virtual void setString(const char* value) = 0;

    virtual u32 flags() const = 0; // ParamFlag
    virtual void getAliasValues(IStrList* out) const = 0;
    virtual void setAliasValue(const char* value) = 0;
    virtual void getAliasValue(IString* out) const = 0;

    std::string getString() const {
        String value;
        getString(&value);
        return value.get();
    }

    std::vector<std::string> getAliasValues() const {
        StrList values;
        getAliasValues(&values);
        return values.vect();
    }

    std::string getAliasValue() const {
        String value;
        getAliasValue(&value);
        return value.get();
    }
};

// The parameters of one filter, in the order of their creation. Whoever created the manager ends it with
// destroy(), which also ends its parameters.
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
    // Null when no parameter has that name.
    virtual IParam* param(const char* name) = 0;
    virtual u64 paramCount() const = 0;
    virtual void params(IPtrList<IParam*>* out) const = 0;
    virtual void destroy() = 0;
};

} // namespace zt
