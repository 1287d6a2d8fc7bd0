#include "search/CandidateTree.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <numeric>
#include <set>

namespace {

constexpr std::size_t mostCandidates = 12; // in a group
constexpr int mostHalvings = 3;            // of a group of groups

using Members = std::vector<std::size_t>;

// The axis of the settings on which the members have the most different values.
std::size_t longestAxis(std::span<const CandidateImage> images, std::span<const std::size_t> members) {
    std::array<std::size_t, 3> counts{};
    for (std::size_t axis = 0; axis < counts.size(); ++axis) {
        std::set<float> values;
        for (const std::size_t member : members)
            values.insert(images[member].setting[axis]);
        counts[axis] = values.size();
    }
    return static_cast<std::size_t>(std::ranges::max_element(counts) - counts.begin());
}

// How often to halve the members until they make groups.
int halvingsOf(std::size_t members) {
    int halvings = 0;
    for (; members > mostCandidates; members = (members + 1) / 2)
        ++halvings;
    return halvings;
}

// Halves on the longest axis, each of these again and so on. The last groups of groups, which are most, have
// as many parts as possible.
std::vector<Members> partsOf(std::span<const CandidateImage> images, std::span<const std::size_t> members) {
    const int halvings = halvingsOf(members.size());
    std::vector<Members> parts{{members.begin(), members.end()}};
    for (int i = 0; i < halvings && i <= (halvings - 1) % mostHalvings; ++i) {
        std::vector<Members> halves;
        for (Members& part : parts) {
            const std::size_t axis = longestAxis(images, part);
            std::ranges::stable_sort(part, {}, [&](std::size_t m) { return images[m].setting[axis]; });
            const auto middle = part.begin() + static_cast<std::ptrdiff_t>(part.size() / 2);
            halves.emplace_back(part.begin(), middle);
            halves.emplace_back(middle, part.end());
        }
        parts = std::move(halves);
    }
    return parts;
}

// The next float below or above one that is 0 or more; 0 for that below 0.
float neighbour(float value, int direction) {
    const auto bits = std::bit_cast<std::int32_t>(value);
    return std::bit_cast<float>(std::max(bits + direction, 0));
}

} // namespace

CandidateTree::CandidateTree(std::span<const CandidateImage> candidates, std::size_t pixels)
    : images(candidates), pixelCount(pixels) {
    Members all(images.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    for (const Members& part : partsOf(images, all))
        roots.push_back(add(part));
    images = {};
}

std::size_t CandidateTree::add(std::span<const std::size_t> members) {
    Group group;
    const std::vector<Members> parts = partsOf(images, members);
    if (parts.size() == 1) {
        group.candidates = parts.front();
        setCandidateRange(group);
    } else {
        for (const Members& part : parts)
            group.groups.push_back(add(part));
        setGroupRange(group);
    }
    groups.push_back(std::move(group));
    return groups.size() - 1;
}

void CandidateTree::setCandidateRange(Group& group) const {
    AlignedVector<float> low(pixelCount, std::numeric_limits<float>::infinity());
    AlignedVector<float> high(pixelCount, 0.0f);
    for (const std::size_t candidate : group.candidates)
        for (std::size_t i = 0; i < pixelCount; ++i) {
            low[i] = std::min(low[i], images[candidate].pixels[i]);
            high[i] = std::max(high[i], images[candidate].pixels[i]);
        }
    for (std::size_t i = 0; i < pixelCount; ++i) {
        high[i] = neighbour(1 / high[i], -1);
        low[i] = neighbour(1 / low[i], 1);
    }
    group.leastFactors = std::move(high);
    group.greatestFactors = std::move(low);
}

void CandidateTree::setGroupRange(Group& group) const {
    group.leastFactors.assign(pixelCount, std::numeric_limits<float>::infinity());
    group.greatestFactors.assign(pixelCount, 0.0f);
    for (const std::size_t part : group.groups)
        for (std::size_t i = 0; i < pixelCount; ++i) {
            group.leastFactors[i] = std::min(group.leastFactors[i], groups[part].leastFactors[i]);
            group.greatestFactors[i] = std::max(group.greatestFactors[i], groups[part].greatestFactors[i]);
        }
}
