#include "kernels/Multiply.h"

#include "kernels/ProcessorDispatch.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace PluginOmbrel {

namespace {

constexpr std::size_t lineDoubles = 8; // one cache line
// How far ahead lines are asked for. Large frames are bound by memory, and the processor alone asks too late:
// some 10 % of the time, at this distance.
constexpr std::size_t aheadDoubles = 48;

struct MultiplyKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* pixels, const double* factors, std::size_t count) {
        std::size_t i = 0;
        for (; i + lineDoubles <= count; i += lineDoubles) {
            __builtin_prefetch(ahead(pixels + i), 1);
            __builtin_prefetch(ahead(factors + i), 0, 0);
            for (std::size_t lane = 0; lane < lineDoubles; lane += Lanes)
                multiplyVector<Lanes>(pixels + i + lane, factors + i + lane);
        }
        for (; i < count; ++i)
            pixels[i] *= factors[i];
    }

    template <std::size_t Lanes>
    __attribute__((always_inline)) static void multiplyVector(double* pixels, const double* factors) {
        typename Vector<Lanes>::Doubles pixel;
        typename Vector<Lanes>::Doubles factor;
        std::memcpy(&pixel, pixels, sizeof pixel);
        std::memcpy(&factor, factors, sizeof factor);
        pixel *= factor;
        std::memcpy(pixels, &pixel, sizeof pixel);
    }

    // The address may lie behind the array: asking for it early is no access.
    __attribute__((always_inline)) static const void* ahead(const double* value) {
        return reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(value) +
                                             aheadDoubles * sizeof(double));
    }
};

struct MultiplyColumnsKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<double> pixels,
                                                   std::span<const double> factors) {
        for (std::size_t row = 0; row < pixels.size(); row += factors.size())
            MultiplyKernel::run<Lanes>(pixels.data() + row, factors.data(),
                                       std::min(factors.size(), pixels.size() - row));
    }
};

} // namespace

void multiplyPixels(std::span<double> pixels, std::span<const double> factors) {
    runVectorised<MultiplyKernel>(pixels.data(), factors.data(), pixels.size());
}

void multiplyColumns(std::span<double> pixels, std::span<const double> factors) {
    runVectorised<MultiplyColumnsKernel>(pixels, factors);
}

} // namespace PluginOmbrel
