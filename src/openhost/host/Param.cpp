#include "host/Param.h"

#include "base/NumberText.h"
#include "frame/ClampedCast.h"

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
        // As a number of the type itself first, since double does not hold every 64-bit integer.
        if (const auto exact = readNumber<To>(text))
            return *exact;
        return clampedCast<To>(readNumber<double>(text).value_or(readBool(text).value_or(false)));
    }
}

// See the class for the rules.
template <typename To, typename From>
To converted(const From& value) {
    if constexpr (std::is_same_v<To, From>)
        return value;
    else if constexpr (std::is_same_v<From, std::string>)
        return fromText<To>(value);
    else if constexpr (std::is_same_v<To, std::string>) {
        if constexpr (std::is_same_v<From, bool>)
            return value ? "true" : "false";
        else
            return numberText(value);
    } else if constexpr (std::is_same_v<To, bool>)
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

} // namespace ombrel
