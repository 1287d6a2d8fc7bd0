// Compiled for AVX-512, see CMakeLists.txt.
#include "tiles/Kernels.h"

extern const Kernels avx512Kernels;
const Kernels avx512Kernels = kernelTable("AVX-512");
