// Compiled for AVX2, see CMakeLists.txt.
#include "tiles/Kernels.h"

extern const Kernels avx2Kernels;
const Kernels avx2Kernels = kernelTable("AVX2");
