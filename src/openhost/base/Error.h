#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ombrel {

// A failure that ends the command. The text is the one line that the user gets: what happened, where, and
// what to do.
class Error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line itself is wrong: changing files cannot fix it.
class UsageError : public Error {
    using Error::Error;
};

struct DatasetChoice {
    std::string path;
    std::string shape;
};

// The path is ambiguous: the file holds several datasets of frames.
class SeveralDatasets : public Error {
public:
    SeveralDatasets(const std::string& text, std::string fileOfThem, std::vector<DatasetChoice> found)
        : Error(text), file(std::move(fileOfThem)), datasets(std::move(found)) {}

    std::string file;
    std::vector<DatasetChoice> datasets;
};

} // namespace ombrel
