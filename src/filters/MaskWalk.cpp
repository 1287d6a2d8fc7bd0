#include "filters/MaskWalk.h"

#include "filters/ProcessorDispatch.h"
#include "filters/ThicknessBlock.h"

#include <algorithm>
#include <cstring>

namespace PluginOmbrel {

namespace {

struct ThicknessKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<double> counts, double acqTime,
                                                   std::span<const MaskTable> masks) {
        constexpr std::size_t blockSize = ThicknessBlock<Lanes>::capacity * Lanes;
        const std::size_t inVectors = counts.size() - counts.size() % Lanes;
        for (std::size_t at = 0; at < inVectors; at += blockSize)
            ThicknessBlock<Lanes>(counts.data() + at, at, std::min(blockSize, inVectors - at) / Lanes)
                .replace(acqTime, masks);
        if (inVectors < counts.size())
            ThicknessBlock<1>(counts.data() + inVectors, inVectors, counts.size() - inVectors)
                .replace(acqTime, masks);
    }
};

struct LogarithmKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<double> counts, double acqTime) {
        std::size_t at = 0;
        for (; at + Lanes <= counts.size(); at += Lanes)
            replaceVector<Lanes>(counts.data() + at, acqTime);
        for (; at < counts.size(); ++at)
            replaceVector<1>(counts.data() + at, acqTime);
    }

    template <std::size_t Lanes>
    __attribute__((always_inline)) static void replaceVector(double* counts, double acqTime) {
        using Doubles = typename Vector<Lanes>::Doubles;
        Doubles count;
        std::memcpy(&count, counts, sizeof count);
        Doubles level = count / acqTime;
        Logarithm<Lanes>::replace(level);
        level = count > 0 ? level : Doubles{};
        std::memcpy(counts, &level, sizeof level);
    }
};

} // namespace

void replaceByThickness(std::span<double> counts, double acqTime, std::span<const MaskTable> masks) {
    if (masks.empty()) {
        std::ranges::fill(counts, 0.0);
    } else if (masks.size() == 1) {
        replaceByLogarithm(counts, acqTime);
        for (std::size_t i = 0; i < counts.size(); ++i)
            counts[i] = counts[i] < masks[0].values[i] ? counts[i] : 0.0;
    } else {
        runVectorised<ThicknessKernel>(counts, acqTime, masks);
    }
}

void replaceByLogarithm(std::span<double> counts, double acqTime) {
    runVectorised<LogarithmKernel>(counts, acqTime);
}

} // namespace PluginOmbrel
