#pragma once

#include <string>

namespace ombrel {

// Seconds in a unit of time as UDUNITS writes it: "ms", "millisecond", "min". Throws Error with the reason
// alone for a unit that is not a time, and when the database of units cannot be read.
double secondsIn(const std::string& unit);

} // namespace ombrel
