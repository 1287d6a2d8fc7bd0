#pragma once

#include "tiles/TileSums.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

// An image that a search may divide by, and its place in the grid of settings. The pixels are above 0 or
// infinite.
struct CandidateImage {
    const float* pixels = nullptr;
    std::array<float, 3> setting{};
};

// Groups of candidates that are near each other in the grid, and groups of these. For each group the least
// and the greatest value of every pixel are kept: together about a third of the memory of the candidates.
class CandidateTree {
public:
    struct Group {
        std::vector<std::size_t> candidates; // empty for a group of groups
        std::vector<std::size_t> groups;
        // Bounds of the reciprocals of each pixel: at most the least, at least the greatest.
        AlignedVector<float> leastFactors;
        AlignedVector<float> greatestFactors;
    };

    CandidateTree(std::span<const CandidateImage> images, std::size_t pixels);

    std::size_t size() const { return groups.size(); }
    const Group& operator[](std::size_t index) const { return groups[index]; }
    // Those that are in no other group; together they contain all candidates.
    std::span<const std::size_t> top() const { return roots; }

private:
    std::size_t add(std::span<const std::size_t> members);
    void setCandidateRange(Group& group) const;
    void setGroupRange(Group& group) const;

    std::span<const CandidateImage> images; // only while the tree is built
    std::size_t pixelCount = 0;
    std::vector<Group> groups;
    std::vector<std::size_t> roots;
};
