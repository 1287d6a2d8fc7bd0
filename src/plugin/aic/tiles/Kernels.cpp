#include "tiles/Kernels.h"

#include <algorithm>
#include <vector>

extern const Kernels baselineKernels;
#if defined(__x86_64__)
extern const Kernels avx2Kernels;
extern const Kernels avx512Kernels;
#endif

std::span<const Kernels* const> runnableKernels() {
    static const std::vector<const Kernels*> runnable = [] {
        std::vector<const Kernels*> found;
#if defined(__x86_64__)
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
            __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw"))
            found.push_back(&avx512Kernels);
        if (__builtin_cpu_supports("avx2"))
            found.push_back(&avx2Kernels);
#endif
        found.push_back(&baselineKernels);
        return found;
    }();
    return runnable;
}

const Kernels& bestKernels() {
    return *runnableKernels().front();
}

const Kernels& narrowedKernels(const Kernels& kernels, int lanes) {
    if (kernels.lanes <= lanes)
        return kernels;
    return **std::ranges::find_if(runnableKernels(),
                                  [&](const Kernels* runnable) { return runnable->lanes <= lanes; });
}
