#include "tiles/KernelTable.h"

extern const Kernels baselineKernels;
const Kernels baselineKernels = kernelTable("baseline");
