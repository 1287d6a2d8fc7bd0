#include "host/Param.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"
#include "zt/Types.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace ombrel {

namespace {

template <typename To>
To fromText(const std::string& text) {
    if constexpr (std::is_same_v<To, bool>) {
        const auto number = readNumber<double>(text);
        return readBool(text).value_or(number && *number != 0 && *number == *number);
    } else {
        // Try the type itself first, since double does not represent every 64-bit integer.
        if (const auto exact = readNumber<To>(text))
            return *exact;
        return clampedCast<To>(readNumber<double>(text).value_or(readBool(text).value_or(false)));
    }
}

// The conversion described at the class.
template <typename To, typename From>
To converted(const From& value) {
    if constexpr (std::is_same_v<To, From>)
        return value;
    else if constexpr (std::is_same_v<From, std::string>)
        return fromText<To>(value);
    else if constexpr (std::is_same_v<To, std::string>)
        if constexpr (std::is_same_v<From, bool>)
            return value ? "true" : "false";
        else
            return numberText(value);
    else if constexpr (std::is_same_v<To, bool>)
        return value != 0 && value == value;
    else if constexpr (std::is_same_v<From, bool>)
        return static_cast<To>(value);
    else
        return clampedCast<To>(value);
}

} // namespace

Param::Param(ParamInfo paramInfo, ParamValue initialValue)
    : info(std::move(paramInfo)), value(std::move(initialValue)) {}

void Param::setAliases(std::vector<std::string> names) {
    aliases = std::move(names);
}

template <typename T>
T Param::valueAs() const {
    return std::visit([](const auto& stored) { return converted<T>(stored); }, value);
}

template <typename T>
void Param::store(const T& newValue) {
    std::visit([&](auto& stored) { stored = converted<std::decay_t<decltype(stored)>>(newValue); }, value);
    if (info.callback)
        info.callback(this, false, reinterpret_cast<long>(info.userData));
}

// clang-format off
zt::i8 Param::getI8() const { return valueAs<zt::i8>(); }
zt::u8 Param::getU8() const { return valueAs<zt::u8>(); }
bool Param::getBool() const { return valueAs<bool>(); }
zt::i16 Param::getI16() const { return valueAs<zt::i16>(); }
zt::u16 Param::getU16() const { return valueAs<zt::u16>(); }
zt::i32 Param::getInt() const { return valueAs<zt::i32>(); }
zt::u32 Param::getUInt() const { return valueAs<zt::u32>(); }
zt::i64 Param::getI64() const { return valueAs<zt::i64>(); }
zt::u64 Param::getU64() const { return valueAs<zt::u64>(); }
float Param::getFloat() const { return valueAs<float>(); }
double Param::getDouble() const { return valueAs<double>(); }
void Param::getString(zt::IString* out) const { out->set(valueAs<std::string>().c_str()); }

void Param::setI8(zt::i8 newValue) { store(newValue); }
void Param::setU8(zt::u8 newValue) { store(newValue); }
void Param::setBool(bool newValue) { store(newValue); }
void Param::setI16(zt::i16 newValue) { store(newValue); }
void Param::setU16(zt::u16 newValue) { store(newValue); }
void Param::setInt(zt::i32 newValue) { store(newValue); }
void Param::setUInt(zt::u32 newValue) { store(newValue); }
void Param::setI64(zt::i64 newValue) { store(newValue); }
void Param::setU64(zt::u64 newValue) { store(newValue); }
void Param::setFloat(float newValue) { store(newValue); }
void Param::setDouble(double newValue) { store(newValue); }
void Param::setString(const char* newValue) { store(std::string(newValue ? newValue : "")); }
// clang-format on

zt::u32 Param::flags() const {
    zt::u32 result = 0;
    if (info.createFlags & zt::PARAM_CREATE_READ_ONLY)
        result |= zt::PARAM_READ_ONLY;
    if (!aliases.empty())
        result |= zt::PARAM_HAS_ALIASES;
    return result;
}

void Param::getAliasValues(zt::IStrList* out) const {
    for (const std::string& alias : aliases)
        out->add(alias.c_str());
}

void Param::setAliasValue(const char* alias) {
    const auto found = std::ranges::find(aliases, alias ? alias : "");
    if (found == aliases.end())
        return;
    if (type() == zt::DT_STRING)
        store(*found);
    else
        store(static_cast<zt::i64>(found - aliases.begin()));
}

void Param::getAliasValue(zt::IString* out) const {
    std::string alias;
    if (type() == zt::DT_STRING) {
        const auto found = std::ranges::find(aliases, std::get<std::string>(value));
        if (found != aliases.end())
            alias = *found;
    } else if (const zt::u64 index = getU64(); index < aliases.size() && getI64() >= 0) {
        alias = aliases[index];
    }
    out->set(alias.c_str());
}

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

namespace {

[[noreturn]] void refuse(const zt::IParam& param, const std::string& text, const std::string& why) {
    throw UsageError("parameter \"" + std::string(param.name()) + "\": \"" + text + "\" " + why);
}

// Parses the text as T and calls the setter.
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
