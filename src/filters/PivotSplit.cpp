#include "filters/PivotSplit.h"

#include "filters/ProcessorDispatch.h"

#include <cstring>
#include <limits>

namespace PluginOmbrel {

namespace {

struct ExtremesKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<const double> values, Extremes* extremes) {
        using Doubles = typename Vector<Lanes>::Doubles;
        Doubles min = Doubles{} + extremes->min;
        Doubles max = Doubles{} + extremes->max;
        std::size_t i = 0;
        for (; i + Lanes <= values.size(); i += Lanes) {
            Doubles value;
            std::memcpy(&value, values.data() + i, sizeof value);
            min = value < min ? value : min;
            max = value > max ? value : max;
        }
        for (std::size_t lane = 0; lane < Lanes; ++lane)
            add(min[lane], max[lane], *extremes);
        for (; i < values.size(); ++i)
            add(values[i], values[i], *extremes);
    }

    static void add(double low, double high, Extremes& extremes) {
        extremes.min = low < extremes.min ? low : extremes.min;
        extremes.max = high > extremes.max ? high : extremes.max;
    }
};

struct SplitKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<const double> values, double pivot,
                                                   PivotSplit* split) {
        using Doubles = typename Vector<Lanes>::Doubles;
        using Mask = typename Vector<Lanes>::Mask;
        Mask less{};
        Mask greater{};
        Doubles maxLess = Doubles{} + split->maxLess;
        Doubles minGreater = Doubles{} + split->minGreater;
        std::size_t i = 0;
        for (; i + Lanes <= values.size(); i += Lanes) {
            Doubles value;
            std::memcpy(&value, values.data() + i, sizeof value);
            const Mask isLess = value < pivot;
            const Mask isGreater = value > pivot;
            less += isLess;
            greater += isGreater;
            maxLess = (isLess & (value > maxLess)) ? value : maxLess;
            minGreater = (isGreater & (value < minGreater)) ? value : minGreater;
        }
        for (std::size_t lane = 0; lane < Lanes; ++lane) {
            split->less += static_cast<std::size_t>(-less[lane]);
            split->greater += static_cast<std::size_t>(-greater[lane]);
            raise(maxLess[lane], *split);
            lower(minGreater[lane], *split);
        }
        for (; i < values.size(); ++i)
            addOne(values[i], pivot, *split);
    }

    static void addOne(double value, double pivot, PivotSplit& split) {
        if (value < pivot) {
            ++split.less;
            raise(value, split);
        } else if (value > pivot) {
            ++split.greater;
            lower(value, split);
        }
    }

    static void raise(double value, PivotSplit& split) {
        split.maxLess = value > split.maxLess ? value : split.maxLess;
    }

    static void lower(double value, PivotSplit& split) {
        split.minGreater = value < split.minGreater ? value : split.minGreater;
    }
};

} // namespace

Extremes extremesOf(std::span<const double> values) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    Extremes extremes{infinity, -infinity};
    runVectorised<ExtremesKernel>(values, &extremes);
    return extremes;
}

PivotSplit splitAt(std::span<const double> values, double pivot, Extremes given) {
    PivotSplit split{0, 0, given.min, given.max};
    runVectorised<SplitKernel>(values, pivot, &split);
    return split;
}

} // namespace PluginOmbrel
