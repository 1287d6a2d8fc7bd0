#include "search/PrunedSearch.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace {

constexpr auto isLater = [](const auto& one, const auto& other) { return one.least > other.least; };

} // namespace

PrunedSearch::PrunedSearch(std::vector<CandidateImage> candidates, std::size_t pixels, const Kernels& kernels)
    : images(std::move(candidates)), leastPixel(std::numeric_limits<float>::infinity()),
      tree(images, pixels) {
    for (const CandidateImage& image : images)
        leastPixel = std::min(leastPixel, darkestPixel(image.pixels, pixels, kernels));
}

std::span<const std::optional<float>> PrunedSearch::run(const BandScores& bandScores,
                                                        const Definition& byDefinition) {
    bands = &bandScores;
    definition = &byDefinition;
    scores.assign(images.size(), std::nullopt);
    floors.assign((tree.size() + 1) * bands->bandCount(), 0); // the last ones are of no group
    if (order.size() != bands->bandCount()) {
        order.resize(bands->bandCount());
        std::iota(order.begin(), order.end(), std::size_t{0});
    }
    heap.clear();
    // Frames change slowly: the last one's best are good here, too, and the better the first ones, the less
    // remains to be tried.
    for (const auto& last : std::exchange(best, {}))
        if (last)
            tryCandidate(*last);
    for (const std::size_t group : tree.top())
        bound(group, floorsOf(tree.size()).data());
    while (!heap.empty() && !isWorse(heap.front().least)) {
        std::ranges::pop_heap(heap, isLater);
        const Bounded next = heap.back();
        heap.pop_back();
        tryCandidates(next);
        for (const std::size_t part : tree[next.group].groups)
            bound(part, floorsOf(next.group).data());
    }
    return scores;
}

void PrunedSearch::tryCandidate(std::size_t candidate) {
    std::vector<double> sums;
    for (std::size_t band = 0; band < bands->bandCount(); ++band)
        sums.push_back(bands->sum(images[candidate].pixels, band));
    rank(candidate, std::accumulate(sums.begin(), sums.end(), 0.0));
    // Bands with much to add come first: the sum soon shows that a candidate is worse.
    std::ranges::sort(order, std::greater<>{}, [&](std::size_t band) { return sums[band]; });
}

void PrunedSearch::tryCandidates(const Bounded& group) {
    const std::span<const double> least = floorsOf(group.group);
    for (const std::size_t candidate : tree[group.group].candidates) {
        if (scores[candidate])
            continue;
        double sum = 0;
        double left = group.least; // of the bands that are not summed yet
        for (const std::size_t band : order) {
            if (isWorse(sum + left))
                break;
            sum += bands->sum(images[candidate].pixels, band);
            left = band == order.back() ? 0 : left - least[band];
        }
        if (!isWorse(sum + left))
            rank(candidate, sum);
    }
}

void PrunedSearch::bound(std::size_t group, const double* outer) {
    const CandidateTree::Group& members = tree[group];
    const std::span<double> least = floorsOf(group);
    double sum = std::accumulate(outer, outer + bands->bandCount(), 0.0);
    for (const std::size_t band : order) {
        if (isWorse(sum))
            return;
        least[band] = std::max(
            outer[band], bands->least(members.leastFactors.data(), members.greatestFactors.data(), band));
        sum += least[band] - outer[band];
    }
    heap.push_back({sum, group});
    std::ranges::push_heap(heap, isLater);
}

bool PrunedSearch::isWorse(double sum) const {
    return best[1] && bands->leastScore(sum) > *scores[*best[1]];
}

void PrunedSearch::rank(std::size_t candidate, double sum) {
    const auto score = bands->score(sum);
    scores[candidate] = score ? *score : (*definition)(candidate);
    if (!best[1] || precedes(candidate, *best[1]))
        best[1] = candidate;
    if (!best[0] || precedes(*best[1], *best[0]))
        std::swap(best[0], best[1]);
}

bool PrunedSearch::precedes(std::size_t one, std::size_t other) const {
    return std::pair(*scores[one], one) < std::pair(*scores[other], other);
}

std::span<double> PrunedSearch::floorsOf(std::size_t group) {
    return std::span(floors).subspan(group * bands->bandCount(), bands->bandCount());
}
