#include "base/Numbers.h"

#include "zt/Types.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace ombrel {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view whitespace = " \t\r\n";
    const std::size_t first = text.find_first_not_of(whitespace);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

} // namespace

template <typename T>
std::string numberText(T value) {
    if (value != value)
        return "nan"; // whatever its sign
    std::array<char, 32> buffer;
    const auto [end, failed] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), end);
}

std::string sixDigits(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

template <typename T>
std::optional<T> readNumber(std::string_view text) {
    text = trimmed(text);
    T value{};
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failed != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<bool> readBool(std::string_view text) {
    text = trimmed(text);
    if (text == "true")
        return true;
    if (text == "false")
        return false;
    return std::nullopt;
}

#define OMBREL_NUMBER_TEXT(T)                                                                                \
    template std::string numberText<T>(T);                                                                   \
    template std::optional<T> readNumber<T>(std::string_view);
OMBREL_NUMBER_TEXT(zt::i8)
OMBREL_NUMBER_TEXT(zt::u8)
OMBREL_NUMBER_TEXT(zt::i16)
OMBREL_NUMBER_TEXT(zt::u16)
OMBREL_NUMBER_TEXT(zt::i32)
OMBREL_NUMBER_TEXT(zt::u32)
OMBREL_NUMBER_TEXT(zt::i64)
OMBREL_NUMBER_TEXT(zt::u64)
OMBREL_NUMBER_TEXT(float)
OMBREL_NUMBER_TEXT(double)
#undef OMBREL_NUMBER_TEXT

} // namespace ombrel
