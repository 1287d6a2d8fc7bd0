#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ombrel {

// The shortest text that reads back as the same number; "inf", "-inf" and "nan" for the rest.
template <typename T>
std::string numberText(T value);

// The whole text as a number of type T, blanks around it left out; nothing when it is none or is out of
// range.
template <typename T>
std::optional<T> readNumber(std::string_view text);

// "true" or "false", blanks around it left out.
std::optional<bool> readBool(std::string_view text);

} // namespace ombrel
