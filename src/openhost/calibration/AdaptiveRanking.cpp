#include "calibration/AdaptiveRanking.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

namespace ombrel {

namespace {

using Candidates = std::vector<const TrialResult*>;

// Residuals closer than this differ by chance.
constexpr double sameResidual = 0.02;

bool isAboutLeast(double residual, double least) {
    return residual <= least + sameResidual * std::max(least, 1.0);
}

// Leaves those of the least value, or of about the least.
template <typename Value, typename IsLeast>
void keepLeast(Candidates& candidates, Value value, IsLeast isLeast) {
    const auto least = value(**std::ranges::min_element(
        candidates, [&](auto* one, auto* other) { return value(*one) < value(*other); }));
    std::erase_if(candidates, [&](auto* candidate) { return !isLeast(value(*candidate), least); });
}

// The noise of other frames will not turn the choice. By how much more it is sure, says little: test frames
// are quieter than frames with a sample.
bool isSure(const TrialResult& result) {
    constexpr double sureMargin = 0.2;
    return result.margin.value_or(0) >= sureMargin;
}

double mosaicResidualOf(const TrialResult& result) {
    return result.mosaicResidual.value_or(std::numeric_limits<double>::infinity());
}

} // namespace

std::size_t bestOf(std::span<const TrialResult> results) {
    Candidates candidates;
    for (const TrialResult& result : results)
        candidates.push_back(&result);
    const auto wrong = [](const TrialResult& result) { return result.frames - result.right.value_or(0); };
    const auto residual = [](const TrialResult& result) { return result.residual; };
    keepLeast(
        candidates, [](const TrialResult& result) { return result.failed; }, std::equal_to());
    keepLeast(candidates, residual, isAboutLeast);
    keepLeast(candidates, wrong, std::equal_to());
    keepLeast(candidates, mosaicResidualOf, isAboutLeast);
    keepLeast(
        candidates, [](const TrialResult& result) { return !isSure(result); }, std::equal_to());
    return static_cast<std::size_t>(candidates.front() - results.data());
}

bool isClearlyFlatter(const TrialResult& other, const TrialResult& result) {
    return other.failed <= result.failed && !isAboutLeast(result.residual, other.residual);
}

} // namespace ombrel
