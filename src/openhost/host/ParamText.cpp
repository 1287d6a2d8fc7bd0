#include "host/ParamText.h"

#include "base/Error.h"
#include "base/NumberText.h"
#include "zt/DataType.h"

#include <algorithm>

namespace ombrel {

namespace {

[[noreturn]] void refuse(const zt::IParam& param, const std::string& text, const std::string& why) {
    throw UsageError("parameter \"" + std::string(param.name()) + "\": \"" + text + "\" " + why);
}

// Calls the setter for the text read as T.
template <typename T>
void set(zt::IParam& param, void (zt::IParam::*setter)(T), const std::string& text, const char* what) {
    const std::optional<T> value = readNumber<T>(text);
    if (!value)
        refuse(param, text, std::string("is not ") + what);
    (param.*setter)(*value);
}

void setAlias(zt::IParam& param, const std::string& text) {
    const std::vector<std::string> aliases = param.getAliasValues();
    if (std::ranges::find(aliases, text) == aliases.end()) {
        std::string list;
        for (const std::string& alias : aliases)
            list += (list.empty() ? "" : ", ") + alias;
        refuse(param, text, "is not one of: " + list);
    }
    param.setAliasValue(text.c_str());
}

void setBool(zt::IParam& param, const std::string& text) {
    const std::optional<bool> value = readBool(text);
    if (!value)
        refuse(param, text, "is neither true nor false");
    param.setBool(*value);
}

} // namespace

void setParamFromText(zt::IParam& param, const std::string& text) {
    using zt::IParam;
    if (param.flags() & zt::PARAM_READ_ONLY)
        throw UsageError("parameter \"" + std::string(param.name()) + "\" is read-only");
    if (param.flags() & zt::PARAM_HAS_ALIASES)
        return setAlias(param, text);
    switch (param.type()) {
    case zt::DT_I8:
        return set(param, &IParam::setI8, text, "an integer from -128 to 127");
    case zt::DT_U8:
        return set(param, &IParam::setU8, text, "an integer from 0 to 255");
    case zt::DT_I16:
        return set(param, &IParam::setI16, text, "an integer from -32768 to 32767");
    case zt::DT_U16:
        return set(param, &IParam::setU16, text, "an integer from 0 to 65535");
    case zt::DT_I32:
        return set(param, &IParam::setInt, text, "a 32-bit integer");
    case zt::DT_U32:
        return set(param, &IParam::setUInt, text, "an unsigned 32-bit integer");
    case zt::DT_I64:
        return set(param, &IParam::setI64, text, "a 64-bit integer");
    case zt::DT_U64:
        return set(param, &IParam::setU64, text, "an unsigned 64-bit integer");
    case zt::DT_FLOAT:
        return set(param, &IParam::setFloat, text, "a number");
    case zt::DT_DOUBLE:
        return set(param, &IParam::setDouble, text, "a number");
    case zt::DT_BOOL:
        return setBool(param, text);
    default:
        return param.setString(text.c_str());
    }
}

} // namespace ombrel
