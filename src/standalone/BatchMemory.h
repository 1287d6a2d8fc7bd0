#pragma once

#include <cstddef>

#include "zt/Types.h"

namespace ombrel {

struct BatchPlan;

// Bytes that this process may still take: what the machine has free, or less where its group of processes is
// limited.
zt::u64 availableMemory();
// Bytes that this process has in memory.
zt::u64 residentMemory();

// How many frames of a batch are on their way at once: enough to keep all busy, as memory allows.
std::size_t framesInFlight(const BatchPlan& plan);

} // namespace ombrel
