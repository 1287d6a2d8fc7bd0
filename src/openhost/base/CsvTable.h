#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The fields of one line of comma-separated values, without surrounding blanks. A field in double quotes
// keeps its commas and blanks; two quotes in it mean one. Nothing if a quote is not closed or is followed by
// text.
std::optional<std::vector<std::string>> splitCsvLine(std::string_view line);

// Errors in a text file, collected so that the user can fix them all at once.
class ParseErrors {
public:
    explicit ParseErrors(std::string filePath) : path(std::move(filePath)) {}

    // Lines are counted from 1.
    void add(std::size_t line, const std::string& problem);
    // Throws Error with the path and the first few problems in one line; does nothing if there was no
    // problem.
    void throwIfAny() const;

private:
    std::string path;
    std::vector<std::string> texts;
};

} // namespace ombrel
