#pragma once

#include <span>
#include <vector>

// The window of taps of the quality function's high-pass kernel, built from a square list of values, row by
// row, whose side is the integer part of the square root of its length. The window extends half a side,
// rounded down, to each side of a pixel; for a list of even side it is thus one wider, if the list has enough
// values.
class HighPass {
public:
    HighPass() = default;
    explicit HighPass(std::span<const float> values);

    // Whether the list has values for the whole window. Otherwise taps() is empty.
    bool complete() const { return !columns.empty(); }
    int half() const { return halfSide; }
    // Column by column.
    std::span<const float> taps() const { return columns; }
    float centre() const { return columns[columns.size() / 2]; }
    double sumOfMagnitudes() const;

    // 3 x 3, -1 at the sides, and 0 at the corners (cross) or -1 (ring). Any centre.
    bool isCross() const { return hasNeighbours(0, -1); }
    bool isRing() const { return hasNeighbours(-1, -1); }

private:
    bool hasNeighbours(float corner, float side) const;

    int halfSide = 0;
    std::vector<float> columns;
};
