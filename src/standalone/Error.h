#pragma once

#include <stdexcept>

namespace ombrel {

// A failure that ends what was asked for. The text is the one line that the user gets: what, where, what to
// do.
class Error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace ombrel
