// The compiler may tell how such vectors are passed to functions; here they stay in one source.
#pragma GCC diagnostic ignored "-Wpsabi"
#define OMBREL_LANES 16
#include "SixteenLanes.h"

#include "aic/KernelTable.h"

const Kernels sixteenLaneKernels = kernelTable("sixteen lanes");
