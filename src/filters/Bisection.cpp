#include "filters/Bisection.h"

#include "filters/Buffer.h"
#include "filters/PivotSplit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace PluginOmbrel {

namespace {

// The bisection is defined on all values at each step. Those outside of [min, max] stay on their side of
// every later pivot and change nothing else, so they are dropped and only counted, once they are the most.
class Bisection {
public:
    explicit Bisection(std::span<const double> values)
        : total(values.size()), candidates(values), range(extremesOf(values)) {
        if (range.min > range.max) // NaNs alone
            range.min = range.max = std::numeric_limits<double>::quiet_NaN();
        const auto zero = std::ranges::find(values, 0.0);
        if (zero != values.end())
            firstZero = *zero;
        range = {withSignOfZero(range.min), withSignOfZero(range.max)};
    }

    double median() {
        const std::size_t half = (total + 1) / 2;
        for (;;) {
            const double pivot = middle();
            PivotSplit split = splitAt(candidates, pivot, range);
            const std::size_t lessHere = split.less;
            const std::size_t greaterHere = split.greater;
            split.less += below;
            split.greater += above;
            if (split.less <= half && split.greater <= half)
                return result(split, pivot, half);
            if (split.less > split.greater) {
                range.max = withSignOfZero(split.maxLess);
                dropOutside(lessHere);
            } else {
                range.min = withSignOfZero(split.minGreater);
                dropOutside(greaterHere);
            }
        }
    }

private:
    // Of equal zeros of both signs the first one among the values is met, wherever a value is taken.
    double withSignOfZero(double value) const { return value == 0 ? firstZero : value; }

    double middle() const {
        const double sum = range.min + range.max;
        if (std::isinf(sum) && std::isfinite(range.min) && std::isfinite(range.max))
            return range.min * 0.5 + range.max * 0.5;
        return sum * 0.5;
    }

    double result(const PivotSplit& split, double pivot, std::size_t half) const {
        if (split.less >= half)
            return withSignOfZero(split.maxLess);
        const std::size_t equal = total - split.less - split.greater;
        return split.less + equal >= half ? pivot : withSignOfZero(split.minGreater);
    }

    // `atMost` is how many candidates can still be inside.
    void dropOutside(std::size_t atMost) {
        if (atMost > candidates.size() / 2)
            return;
        // Never more than once the size: a smaller buffer is filled from a larger one or from the table
        // itself.
        Buffer<double> smaller;
        smaller.resize(atMost + 1);
        std::size_t kept = 0;
        for (const double value : candidates) {
            below += value < range.min;
            above += value > range.max;
            smaller.data()[kept] = value;
            kept += value >= range.min && value <= range.max;
        }
        inside.swap(smaller);
        candidates = inside.span().first(kept);
    }

    std::size_t total;
    std::span<const double> candidates;
    Extremes range;
    double firstZero = 0;
    Buffer<double> inside; // where the candidates stand once some were dropped
    std::size_t below = 0;
    std::size_t above = 0;
};

} // namespace

double bisectMedian(std::span<const double> values) {
    return Bisection(values).median();
}

} // namespace PluginOmbrel
