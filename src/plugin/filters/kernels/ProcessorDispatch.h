#pragma once

#include <cstddef>

namespace PluginOmbrel {

// A kernel is a struct with a static member template run<Lanes>(arguments...), marked always_inline, that
// works on vectors of that many doubles. It is compiled for each instruction set below and returns the same
// bits with all of them.
template <std::size_t Lanes>
struct Vector {
    typedef double Doubles __attribute__((vector_size(Lanes * sizeof(double))));
    typedef long LaneMask __attribute__((vector_size(Lanes * sizeof(double)))); // -1 where a comparison holds
};

template <typename Kernel, typename... Arguments>
void runOnAnyProcessor(Arguments... arguments) {
    Kernel::template run<2>(arguments...);
}

template <typename Kernel, typename... Arguments>
__attribute__((target("avx2,bmi,popcnt"))) void runWithAvx2(Arguments... arguments) {
    Kernel::template run<4>(arguments...);
}

inline bool processorHasAvx2() {
    static const bool has =
        __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("popcnt");
    return has;
}

// Switches to the variant for any processor, so that the variants can be compared on one machine.
inline bool useBaselineKernels = false;

// Runs the widest variant that this processor supports.
template <typename Kernel, typename... Arguments>
void runVectorised(Arguments... arguments) {
    if (processorHasAvx2() && !useBaselineKernels)
        runWithAvx2<Kernel>(arguments...);
    else
        runOnAnyProcessor<Kernel>(arguments...);
}

} // namespace PluginOmbrel
