#pragma once

#include "zt/Types.h"

namespace ombrel {

// Bytes that this process may still allocate: what the machine has free, or less if its control group is
// limited.
zt::u64 availableMemory();
// Bytes that this process has in memory.
zt::u64 residentMemory();

} // namespace ombrel
