#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// The compilers' built-in vectors (their operators act on each lane), as wide as the processor that the
// including source is compiled for supports. Everything has internal linkage: the same names have different
// code in each of these sources.
namespace {

#if defined(OMBREL_LANES) // a chosen width, built from what the processor has
constexpr int laneCount = OMBREL_LANES;
#elif defined(__AVX512F__)
constexpr int laneCount = 16;
#elif defined(__AVX2__)
constexpr int laneCount = 8;
#else
constexpr int laneCount = 4;
#endif

using Floats = float __attribute__((vector_size(laneCount * sizeof(float)), may_alias));
using Ints = std::int32_t __attribute__((vector_size(laneCount * sizeof(float)), may_alias));
// Half as many doubles as floats: the even lanes or the odd ones.
using Doubles = double __attribute__((vector_size(laneCount * sizeof(float)), may_alias));
using Words = std::uint64_t __attribute__((vector_size(laneCount * sizeof(float)), may_alias));

inline Floats load(const float* from) {
    return *reinterpret_cast<const Floats*>(from);
}
inline Floats loadUnaligned(const float* from) {
    Floats values;
    __builtin_memcpy(&values, from, sizeof values);
    return values;
}
inline void store(float* to, Floats values) {
    *reinterpret_cast<Floats*>(to) = values;
}
inline void storeUnaligned(float* to, Floats values) {
    __builtin_memcpy(to, &values, sizeof values);
}
inline Floats all(float value) {
    return Floats{} + value;
}

// Without NaN. The compilers make two instructions of a comparison and a choice.
inline Floats smaller(Floats a, Floats b) {
#if defined(OMBREL_LANES) || !defined(__x86_64__)
    return a < b ? a : b;
#elif defined(__AVX512F__)
    return reinterpret_cast<Floats>(
        _mm512_maskz_min_ps(0xffff, reinterpret_cast<__m512>(a), reinterpret_cast<__m512>(b)));
#elif defined(__AVX2__)
    return reinterpret_cast<Floats>(_mm256_min_ps(reinterpret_cast<__m256>(a), reinterpret_cast<__m256>(b)));
#else
    return reinterpret_cast<Floats>(_mm_min_ps(reinterpret_cast<__m128>(a), reinterpret_cast<__m128>(b)));
#endif
}
inline Floats greater(Floats a, Floats b) {
#if defined(OMBREL_LANES) || !defined(__x86_64__)
    return a > b ? a : b;
#elif defined(__AVX512F__)
    return reinterpret_cast<Floats>(
        _mm512_maskz_max_ps(0xffff, reinterpret_cast<__m512>(a), reinterpret_cast<__m512>(b)));
#elif defined(__AVX2__)
    return reinterpret_cast<Floats>(_mm256_max_ps(reinterpret_cast<__m256>(a), reinterpret_cast<__m256>(b)));
#else
    return reinterpret_cast<Floats>(_mm_max_ps(reinterpret_cast<__m128>(a), reinterpret_cast<__m128>(b)));
#endif
}

// Rounds each double to a float and back. The compilers' generic conversions go through memory.
inline Doubles roundedToFloat(Doubles values) {
#if defined(OMBREL_LANES) || !defined(__x86_64__)
    for (int i = 0; i < laneCount / 2; ++i)
        values[i] = static_cast<double>(static_cast<float>(values[i]));
    return values;
#elif defined(__AVX512F__)
    // The masked forms are used because the plain ones start from an uninitialised register, for which g++ 12
    // warns.
    constexpr __mmask8 everyLane = 0xff;
    const __m256 rounded = _mm512_maskz_cvtpd_ps(everyLane, reinterpret_cast<__m512d>(values));
    return reinterpret_cast<Doubles>(_mm512_maskz_cvtps_pd(everyLane, rounded));
#elif defined(__AVX2__)
    return reinterpret_cast<Doubles>(_mm256_cvtps_pd(_mm256_cvtpd_ps(reinterpret_cast<__m256d>(values))));
#else
    return reinterpret_cast<Doubles>(_mm_cvtps_pd(_mm_cvtpd_ps(reinterpret_cast<__m128d>(values))));
#endif
}

} // namespace
