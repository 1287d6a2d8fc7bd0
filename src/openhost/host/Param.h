#pragma once

#include "zt/IParam.h"
#include "zt/Types.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace ombrel {

// The value of a parameter. The index of the alternative is the parameter's type, a zt::DataType.
using ParamValue = std::variant<zt::i8, zt::u8, zt::i16, zt::u16, zt::i32, zt::u32, zt::i64, zt::u64, float,
                                double, bool, std::string>;

// Properties of a new parameter, apart from its value.
struct ParamInfo {
    std::string name;
    std::string description;
    zt::ParamCallback callback = nullptr;
    void* userData = nullptr;
    int createFlags = 0; // zt::ParamCreateFlag
};

// A named value of a filter. Values are converted between types as follows: numbers are rounded and clamped
// to the range of the type, NaN becomes 0; a number is true unless it is 0 or NaN; a text is parsed as a
// number, "true" or "false", and otherwise is 0 or false; a number as text is the shortest that reads back.
//
// Every setter stores the value and then calls the callback with flag false, even if the value is unchanged:
// a filter may depend on that call. The setters also work for a read-only parameter, since its filter shows
// values through them; check flags() before a user edits parameters.
class Param final : public zt::IParam {
public:
    Param(ParamInfo paramInfo, ParamValue initialValue);

    // Makes the parameter a choice of named values. The value of a string is the name itself, that of a
    // number is the index of the name. setAliasValue() ignores unknown names.
    void setAliases(std::vector<std::string> names);

    const char* name() const override { return info.name.c_str(); }
    const char* description() const override { return info.description.c_str(); }
    int type() const override { return static_cast<int>(value.index()); }

    zt::i8 getI8() const override;
    zt::u8 getU8() const override;
    bool getBool() const override;
    zt::i16 getI16() const override;
    zt::u16 getU16() const override;
    zt::i32 getInt() const override;
    zt::u32 getUInt() const override;
    zt::i64 getI64() const override;
    zt::u64 getU64() const override;
    float getFloat() const override;
    double getDouble() const override;
    using zt::IParam::getString;
    void getString(zt::IString* out) const override;

    void setI8(zt::i8 newValue) override;
    void setU8(zt::u8 newValue) override;
    void setBool(bool newValue) override;
    void setI16(zt::i16 newValue) override;
    void setU16(zt::u16 newValue) override;
    void setInt(zt::i32 newValue) override;
    void setUInt(zt::u32 newValue) override;
    void setI64(zt::i64 newValue) override;
    void setU64(zt::u64 newValue) override;
    void setFloat(float newValue) override;
    void setDouble(double newValue) override;
    void setString(const char* newValue) override;

    zt::u32 flags() const override;
    using zt::IParam::getAliasValues;
    void getAliasValues(zt::IStrList* out) const override;
    void setAliasValue(const char* alias) override;
    using zt::IParam::getAliasValue;
    // Empty if the value is not one of the aliases.
    void getAliasValue(zt::IString* out) const override;

private:
    template <typename T>
    T valueAs() const;
    template <typename T>
    void store(const T& newValue);

    ParamInfo info;
    ParamValue value;
    std::vector<std::string> aliases;
};

// The parameters of one filter. If two have the same name, param() returns the first.
class ParamMgr final : public zt::IParamMgr {
public:
    // Creates a parameter of any type; the manager owns it.
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

// Sets a parameter from a user's text: a number in the range of its type, "true" or "false", one of its
// aliases, any text for a string. Throws UsageError, with the parameter unchanged, if it is read-only or the
// text does not read as its type.
void setParamFromText(zt::IParam& param, const std::string& text);

// Text passed by a host or a filter; null is empty.
inline std::string textOf(const char* text) {
    return text ? text : "";
}

} // namespace ombrel
