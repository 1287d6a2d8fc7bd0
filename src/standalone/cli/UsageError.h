#pragma once

#include <stdexcept>

namespace ombrel::cli {

// The command line is wrong. The text is the one line that the user gets.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace ombrel::cli
