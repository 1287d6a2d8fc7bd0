#include "inspection/PixelNoise.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ombrel {

namespace {

// The regularised incomplete gamma functions by series and continued fraction: W. H. Press et al., "Numerical
// Recipes", section 6.2.

double prefactor(double a, double x) {
    return std::exp(a * std::log(x) - x - std::lgamma(a));
}

double lowerBySeries(double a, double x) {
    double term = 1 / a;
    double sum = term;
    for (double n = a + 1; term > sum * 1e-16; ++n) {
        term *= x / n;
        sum += term;
    }
    return sum * prefactor(a, x);
}

double upperByFraction(double a, double x) {
    double b = x + 1 - a;
    double c = 1e300;
    double d = 1 / b;
    double fraction = d;
    for (int i = 1; i < 10'000; ++i) {
        const double numerator = -i * (i - a);
        b += 2;
        d = 1 / (numerator * d + b);
        c = b + numerator / c;
        fraction *= c * d;
        if (std::abs(c * d - 1) < 1e-15)
            break;
    }
    return fraction * prefactor(a, x);
}

double deviance(double count, double expected) {
    return count > 0 ? count * std::log(count / expected) : 0;
}

} // namespace

double chiSquareTail(double value, double degrees) {
    const double a = degrees / 2;
    const double x = value / 2;
    if (!(x > 0))
        return 1;
    return x < a + 1 ? 1 - lowerBySeries(a, x) : upperByFraction(a, x);
}

double chiSquareMedian(double degrees) {
    double low = 0;
    double high = degrees;
    while (high - low > 1e-12 * degrees) {
        const double middle = (low + high) / 2;
        (chiSquareTail(middle, degrees) > 0.5 ? low : high) = middle;
    }
    return low;
}

double discoveryLimit(std::vector<double> small, zt::u64 tests, double rate) {
    std::ranges::sort(small);
    for (std::size_t rank = small.size(); rank > 0; --rank)
        if (small[rank - 1] <= rate * static_cast<double>(rank) / static_cast<double>(tests))
            return small[rank - 1];
    return 0;
}

double shareDeviation(double count, double total, double share) {
    const double expected = total * share;
    const double sign = count > expected ? 1 : -1;
    const double corrected = std::abs(count - expected) <= 0.5 ? expected : count - sign / 2;
    const double twice = deviance(corrected, expected) + deviance(total - corrected, total - expected);
    return sign * std::sqrt(std::max(0.0, 2 * twice));
}

TwoLevels twoLevelsOf(std::vector<double> deviations) {
    std::ranges::sort(deviations);
    const auto count = static_cast<double>(deviations.size());
    const double sum = std::reduce(deviations.begin(), deviations.end());
    const double mean = sum / count;
    double total = 0;
    for (const double deviation : deviations)
        total += (deviation - mean) * (deviation - mean);
    TwoLevels best;
    double lower = 0;
    for (std::size_t split = 1; split < deviations.size(); ++split) {
        lower += deviations[split - 1] - mean;
        const auto below = static_cast<double>(split);
        const double explained = lower * lower / below + lower * lower / (count - below);
        if (const double remainder = 1 - explained / total; remainder < best.remainder)
            best = {remainder, std::min(split, deviations.size() - split), split > deviations.size() - split};
    }
    return best;
}

} // namespace ombrel
