#define OMBREL_LANES 16
#include "SixteenLanes.h"

#include "tiles/Kernels.h"

const Kernels sixteenLaneKernels = kernelTable("sixteen lanes");
