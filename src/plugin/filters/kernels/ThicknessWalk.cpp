#include "kernels/ThicknessWalk.h"

#include "kernels/Logarithm.h"
#include "kernels/ProcessorDispatch.h"
#include "kernels/ThicknessSearch.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace PluginOmbrel {

namespace {

// A NaN is never in order.
bool notAbove(const double* before, const double* after, std::size_t pixels) {
    bool is = true;
    for (std::size_t i = 0; i < pixels; ++i)
        is &= after[i] <= before[i];
    return is;
}

bool noneEqual(const double* before, const double* after, std::size_t pixels) {
    bool is = true;
    for (std::size_t i = 0; i < pixels; ++i)
        is &= after[i] != before[i];
    return is;
}

} // namespace

void ThicknessOrder::find(const ThicknessTables& masks, std::size_t pixels) {
    if (known == pixels)
        return;
    stretches.assign((pixels + stretch - 1) / stretch, 1);
    for (std::size_t k = 1; k < masks.count(); ++k)
        for (std::size_t s = 0; s < stretches.size(); ++s) {
            const double* const before = masks[k - 1] + s * stretch;
            const double* const after = masks[k] + s * stretch;
            const std::size_t size = std::min(stretch, pixels - s * stretch);
            stretches[s] &= notAbove(before, after, size);
            if (k + 1 == masks.count())
                stretches[s] &= noneEqual(before, after, size);
        }
    known = pixels;
}

void ThicknessOrder::forget() {
    stretches.clear();
    known = 0;
}

namespace {

// The position of a walk; each kernel stops at the first pixel that it can't handle.
struct Walk {
    std::span<double> counts;
    double acqTime;
    const ThicknessTables& masks;
    const ThicknessOrder& order;
    std::size_t at = 0;
};

template <bool FewMasks>
struct FallingKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(Walk* walk) {
        using Block =
            ThicknessBlock<Lanes, ThicknessOrder::stretch / Lanes, ThicknessSearch<Lanes, FewMasks>>;
        while (walk->at + Block::pixels <= walk->counts.size() && walk->order.falls(walk->at) &&
               Block(walk->counts.data() + walk->at, walk->at).replaceOrdinary(walk->acqTime, walk->masks))
            walk->at += Block::pixels;
    }
};

// Handles at least one stretch, and stops at the next one where the masks fall.
struct AnyKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(Walk* walk) {
        do {
            const std::size_t end = std::min(walk->at + ThicknessOrder::stretch, walk->counts.size());
            replaceUntil<Lanes, ThicknessOrder::stretch / Lanes>(*walk, end);
            replaceUntil<Lanes, 1>(*walk, end);
            replaceUntil<1, 1>(*walk, end);
        } while (walk->at < walk->counts.size() && !walk->order.falls(walk->at));
    }

    template <std::size_t Lanes, std::size_t Vectors>
    __attribute__((always_inline)) static void replaceUntil(Walk& walk, std::size_t end) {
        using Block = ThicknessBlock<Lanes, Vectors, ThicknessDescent<Lanes>>;
        for (; walk.at + Block::pixels <= end; walk.at += Block::pixels)
            Block(walk.counts.data() + walk.at, walk.at).replace(walk.acqTime, walk.masks);
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

void replaceByThickness(std::span<double> counts, double acqTime, const ThicknessTables& masks,
                        const ThicknessOrder& order) {
    if (masks.count() == 0) {
        std::ranges::fill(counts, 0.0);
        return;
    }
    if (masks.count() == 1) {
        replaceByLogarithm(counts, acqTime);
        for (std::size_t i = 0; i < counts.size(); ++i)
            counts[i] = counts[i] < masks[0][i] ? counts[i] : 0.0;
        return;
    }
    Walk walk{counts, acqTime, masks, order};
    while (walk.at < counts.size()) {
        if (masks.count() <= ThicknessTables::reach)
            runVectorised<FallingKernel<true>>(&walk);
        else
            runVectorised<FallingKernel<false>>(&walk);
        if (walk.at < counts.size())
            runVectorised<AnyKernel>(&walk);
    }
}

void replaceByLogarithm(std::span<double> counts, double acqTime) {
    runVectorised<LogarithmKernel>(counts, acqTime);
}

} // namespace PluginOmbrel
