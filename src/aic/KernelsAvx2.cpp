// Compiled for AVX2, see CMakeLists.txt.
#include "aic/KernelTable.h"

extern const Kernels avx2Kernels;
const Kernels avx2Kernels = kernelTable("AVX2");
