#pragma once

#include "zt/Types.h"

#include <string>

namespace ombrel {

// What this process may use of the machine.

// Processors that it may run on, or fewer if its control group is limited; at least one.
unsigned availableProcessors();
// Bytes that it may still allocate: what the machine has free, or less if its control group is
// limited.
zt::u64 availableMemory();
// Bytes that it has in memory.
zt::u64 residentMemory();
// The most bytes that it ever had in memory.
zt::u64 peakMemory();
// "Intel(R) Xeon(R) CPU"; empty if the system does not name the processor.
std::string processorName();

} // namespace ombrel
