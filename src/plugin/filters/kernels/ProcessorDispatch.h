#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

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

template <typename Kernel, typename... Arguments>
__attribute__((target("avx512f,avx512vl,avx512dq,avx512bw,avx2,bmi,popcnt"))) void
runWithAvx512(Arguments... arguments) {
    Kernel::template run<8>(arguments...);
}

// In ascending order of width.
enum class InstructionSet { baseline, avx2, avx512 };

inline InstructionSet processorSet() {
    static const InstructionSet widest = [] {
        if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") ||
            !__builtin_cpu_supports("popcnt"))
            return InstructionSet::baseline;
        const bool has512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                            __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
        return has512 ? InstructionSet::avx512 : InstructionSet::avx2;
    }();
    return widest;
}

// Limits the instruction set, so that the variants can be compared on one machine.
inline InstructionSet widestUsed = InstructionSet::avx512;

inline InstructionSet usedSet() {
    return std::min(widestUsed, processorSet());
}

// Calls `work` with the name of each set that this processor has, limited to it.
template <typename Work>
void forEachSet(Work work) {
    for (const auto& [set, name] :
         {std::pair(InstructionSet::baseline, "baseline"), std::pair(InstructionSet::avx2, "AVX2"),
          std::pair(InstructionSet::avx512, "AVX-512")}) {
        if (set > processorSet())
            continue;
        widestUsed = set;
        work(name);
    }
    widestUsed = InstructionSet::avx512;
}

// Runs the widest variant that this processor supports, up to vectors of 4 doubles.
template <typename Kernel, typename... Arguments>
void runVectorised(Arguments... arguments) {
    if (usedSet() >= InstructionSet::avx2)
        runWithAvx2<Kernel>(arguments...);
    else
        runOnAnyProcessor<Kernel>(arguments...);
}

// As above, up to vectors of 8, for kernels that these make faster.
template <typename Kernel, typename... Arguments>
void runWidest(Arguments... arguments) {
    if (usedSet() >= InstructionSet::avx512)
        runWithAvx512<Kernel>(arguments...);
    else
        runVectorised<Kernel>(arguments...);
}

} // namespace PluginOmbrel
