#pragma once

#include <span>
#include <vector>

// The window of taps of the quality function's high-pass kernel, made from a square list of values, row after
// row, whose side is the whole part of the root of its length. The window reaches half a side, in whole
// pixels, to each side of a pixel; a list of even side so has a window that is one wider, if its values reach
// that far.
class HighPass {
public:
    HighPass() = default;
    explicit HighPass(std::span<const float> values);

    // Whether there are values for the whole window. Else there are no taps.
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
