#include "tiles/Kernels.h"

extern const Kernels baselineKernels;
const Kernels baselineKernels = kernelTable("baseline");
