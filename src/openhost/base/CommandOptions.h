#pragma once

#include "base/Numbers.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>

namespace ombrel {

// A check of a numeric option: refuses text that is not a number of type T or does not meet the condition,
// with `"TEXT" is not WANTED`. The parser's own checks accept NaN and an empty text, and their messages spell
// out the limits of a double.
template <typename T>
CLI::Validator numberCheck(const std::string& wanted, const std::function<bool(T)>& meets) {
    const auto refusal = [=](const std::string& text) {
        const auto value = readNumber<T>(text);
        return value && meets(*value) ? std::string() : '"' + text + "\" is not " + wanted;
    };
    return {refusal, ""};
}

// Whole numbers of `low` to `high`, both included.
inline CLI::Validator wholeNumber(int low, int high) {
    return numberCheck<int>(
        "a whole number from " + std::to_string(low) + " to " + std::to_string(high),
        [=](int value) { return value >= low && value <= high; });
}

// Whole numbers, limited only by the range of T.
template <typename T>
CLI::Validator wholeNumber() {
    return numberCheck<T>(
        std::is_signed_v<T> ? "a whole number" : "a whole number of 0 or more", [](T) { return true; });
}

inline CLI::Validator numberAboveZero() {
    return numberCheck<double>(
        "a number above 0", [](double value) { return value > 0 && std::isfinite(value); });
}

} // namespace ombrel

namespace CLI {
class App;
}

namespace ombrel {

// Options that several commands have.
void addPluginOption(CLI::App& command, std::string& plugin);
void addLogOption(CLI::App& command, std::string& log);
// `promise` is appended to the help text of the option.
void addJobsOption(CLI::App& command, std::optional<unsigned>& jobs, const std::string& promise = "");

} // namespace ombrel
