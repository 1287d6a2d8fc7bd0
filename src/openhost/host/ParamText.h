#pragma once

#include "zt/IParam.h"

#include <string>

namespace ombrel {

// Sets a parameter from the text that a user gave: a number in the range of its type, "true" or "false", one
// of its aliases, any text for a string. Throws UsageError, with the parameter unchanged, when it is
// read-only or the text does not read as its type.
void setParamFromText(zt::IParam& param, const std::string& text);

// What a host or a filter passes as text; null is empty.
inline std::string textOf(const char* text) {
    return text ? text : "";
}

} // namespace ombrel
