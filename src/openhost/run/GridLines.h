#pragma once

#include "zt/IPrivateFilters.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ombrel {

// The lines on which the candidates of a search lie: those of a line differ on one axis alone, in the six
// digits that a log has.
class GridLines {
public:
    // The axes are V, T and E.
    static constexpr unsigned axisCount = 3;

    // Takes over the candidates of a search. Those of the search before keep their lines.
    void follow(const IGridScores& scores);

    std::size_t candidateCount() const { return points.size(); }
    double at(unsigned axis, std::size_t candidate) const { return coordinates[candidate][axis]; }
    // The candidates on the line through this one, in ascending order.
    std::span<const std::uint32_t> line(unsigned axis, std::size_t candidate) const;
    // Whether the line through the candidate has about as many candidates as any along that axis.
    bool isLong(unsigned axis, std::size_t candidate) const;

private:
    struct Line {
        std::uint32_t begin;
        std::uint32_t length;
    };
    struct Axis {
        std::vector<std::uint32_t> order; // the candidates, line by line
        std::vector<Line> lineOf;         // by candidate; a part of `order`
        std::uint32_t longest = 0;
    };

    bool isSame(const IGridScores& scores) const;
    void arrange(unsigned axis);

    std::vector<IGridScores::Point> points;
    std::vector<std::array<double, axisCount>> coordinates; // of the points, with six digits
    std::array<Axis, axisCount> axes;
};

} // namespace ombrel
