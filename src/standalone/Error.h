#pragma once

#include <stdexcept>

namespace ombrel {

// A failure that ends what was asked for. The text is the one line that the user gets: what, where, what to
// do.
class Error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line itself is wrong: no file that changes can make it right.
class UsageError : public Error {
    using Error::Error;
};

} // namespace ombrel
