#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ombrel {

// What is wrong with a text file, gathered so that its author can mend it in one go.
class LineProblems {
public:
    explicit LineProblems(std::string filePath) : path(std::move(filePath)) {}

    // Lines are counted from 1.
    void add(std::size_t line, const std::string& problem);
    // Throws Error with the path and the problems in one line, the first few of many, unless there are none.
    void throwIfAny() const;

private:
    std::string path;
    std::vector<std::string> texts;
};

} // namespace ombrel
