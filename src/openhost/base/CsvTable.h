#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The fields of one line of comma-separated values, without the blanks around them. A field may stand in
// double quotes, which keeps its commas and blanks; two quotes in it stand for one. Nothing when a quote is
// not closed or text follows it.
std::optional<std::vector<std::string>> splitCsvLine(std::string_view line);

// What is wrong with a text file, gathered so that its author can mend it in one go.
class ParseErrors {
public:
    explicit ParseErrors(std::string filePath) : path(std::move(filePath)) {}

    // Lines are counted from 1.
    void add(std::size_t line, const std::string& problem);
    // Throws Error with the path and the problems in one line, the first few of many, unless there are none.
    void throwIfAny() const;

private:
    std::string path;
    std::vector<std::string> texts;
};

} // namespace ombrel
