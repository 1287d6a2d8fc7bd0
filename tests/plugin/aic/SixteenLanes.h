#pragma once

#include "tiles/Kernels.h"

// The inner loops with vectors of sixteen floats, as on the widest processors, put together from what every
// processor has.
extern const Kernels sixteenLaneKernels;
