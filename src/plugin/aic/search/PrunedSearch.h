#pragma once

#include "search/BandScores.h"
#include "search/CandidateTree.h"

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

// Finds the two candidates with the least scores, exactly, without computing the scores of all: a branch and
// bound search (A. H. Land and A. G. Doig, "An automatic method of solving discrete programming problems",
// Econometrica 28, 1960) over the groups of a CandidateTree. Of equal scores the first candidate's is less.
class PrunedSearch {
public:
    // The score of a candidate by its definition, where BandScores cannot decide.
    using Definition = std::function<float(std::size_t candidate)>;

    // The images must stay valid.
    PrunedSearch(std::vector<CandidateImage> images, std::size_t pixels, const Kernels& kernels);

    std::size_t candidateCount() const { return images.size(); }
    // The least pixel of all images; 0 if one of them has a NaN.
    float darkest() const { return leastPixel; }

    // For the frame of `bands`. Returns the candidates' scores, those of the two best and of some others.
    std::span<const std::optional<float>> run(const BandScores& bands, const Definition& definition);

private:
    struct Bounded {
        double least; // sum
        std::size_t group;
    };

    void tryCandidate(std::size_t candidate);
    void tryCandidates(const Bounded& group);
    // Puts the group onto the heap unless its candidates are surely worse than the two best.
    void bound(std::size_t group, const double* outer);
    bool isWorse(double sum) const;
    void rank(std::size_t candidate, double sum);
    // Whether the first comes before the second in the order of scores.
    bool precedes(std::size_t one, std::size_t other) const;
    std::span<double> floorsOf(std::size_t group);

    std::vector<CandidateImage> images;
    float leastPixel = 0;
    CandidateTree tree;

    const BandScores* bands = nullptr;
    const Definition* definition = nullptr;
    std::vector<std::optional<float>> scores;
    std::array<std::optional<std::size_t>, 2> best; // of this frame and, before, of the last one
    std::vector<double> floors;                     // of each group: the least sum of each band
    std::vector<std::size_t> order;                 // of the bands
    std::vector<Bounded> heap;
};
