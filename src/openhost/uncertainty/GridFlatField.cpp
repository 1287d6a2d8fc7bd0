#include "uncertainty/GridFlatField.h"

#include "base/Error.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <span>
#include <utility>

namespace ombrel {

namespace {

// Walks through the file from its start. Its layout is described in calibration/CalibrationHeap.h.
class HeapCursor {
public:
    explicit HeapCursor(const FileDescriptor& heap) : file(heap) {}

    template <typename T>
    T read() {
        T value{};
        readInto(std::span(&value, 1));
        return value;
    }
    template <typename T>
    void readInto(std::span<T> values) {
        file.readAt(at, std::as_writable_bytes(values));
        at += values.size_bytes();
    }
    // Returns where the pixels begin.
    zt::u64 skipBlock(zt::u64& pixels) {
        const auto width = read<zt::i32>();
        const auto height = read<zt::i32>();
        pixels = zt::u64(width) * zt::u64(height);
        const zt::u64 begin = at;
        at += pixels * sizeof(float);
        return begin;
    }

private:
    const FileDescriptor& file;
    zt::u64 at = 0;
};

} // namespace

GridFlatFields::GridFlatFields(const std::string& heap, std::vector<GridPointFacts> points, bool midpoints)
    : file(FileDescriptor::openForReading(heap)), path(heap), facts(std::move(points)),
      hasMidpoints(midpoints) {
    readBlocks();
    if (facts.size() != blocks.size())
        throw Error(path + ": has " + std::to_string(blocks.size()) +
                    " grid points, but its settings know the flat fields of " + std::to_string(facts.size()) +
                    "; calibrate again");
}

// The filter has loaded the file, so its layout holds.
void GridFlatFields::readBlocks() {
    HeapCursor cursor(file);
    cursor.read<zt::i32>();
    Block mask;
    if (cursor.read<zt::i32>() != 0)
        cursor.skipBlock(mask.pixels);
    std::size_t count = 1;
    for (auto& axis : axes) {
        axis.resize(cursor.read<zt::u64>());
        cursor.readInto(std::span(axis));
        count *= axis.size();
    }
    blocks.resize(count);
    for (Block& block : blocks)
        block.offset = cursor.skipBlock(block.pixels);
}

// The choice comes from a log with six digits: the nearest value is meant.
GridFlatFields::Around GridFlatFields::around(std::size_t axis, double chosen) const {
    const std::vector<float>& values = axes[axis];
    Around nearest{};
    double least = std::numeric_limits<double>::infinity();
    const auto take = [&](std::size_t one, std::size_t other) {
        const double value = (double{values[one]} + double{values[other]}) / 2;
        if (const double distance = std::abs(value - chosen); distance < least) {
            least = distance;
            nearest = {one, other};
        }
    };
    for (std::size_t i = 0; i < values.size(); ++i) {
        take(i, i);
        if (hasMidpoints && i + 1 < values.size())
            take(i, i + 1);
    }
    return nearest;
}

// A midpoint of several axes is a mean of means.
std::vector<std::size_t> GridFlatFields::cornersAt(const ScoredPoint& chosen) const {
    std::set<std::size_t> corners;
    for (const std::size_t v : around(0, chosen.v))
        for (const std::size_t t : around(1, chosen.t))
            for (const std::size_t e : around(2, chosen.e))
                if (const std::size_t i = (v * axes[1].size() + t) * axes[2].size() + e;
                    blocks[i].pixels > 1 && facts[i].flatFields > 0)
                    corners.insert(i);
    return {corners.begin(), corners.end()};
}

std::optional<FlatFieldFacts> GridFlatFields::at(const ScoredPoint& chosen) const {
    const auto corners = cornersAt(chosen);
    if (corners.empty())
        return std::nullopt;
    const auto count = static_cast<double>(corners.size());
    FlatFieldFacts flat;
    std::vector<float> image(blocks[corners.front()].pixels);
    flat.coefficients.resize(image.size());
    double inverseFrames = 0;
    for (const std::size_t corner : corners) {
        file.readAt(blocks[corner].offset, std::as_writable_bytes(std::span(image)));
        for (std::size_t i = 0; i < image.size(); ++i)
            flat.coefficients[i] += image[i] / count;
        flat.level += facts[corner].divisor / count;
        inverseFrames += 1 / facts[corner].flatFields / (count * count);
    }
    flat.frames = 1 / inverseFrames;
    for (double& pixel : flat.coefficients) // pixels without counts are not divided
        pixel = pixel >= std::numeric_limits<float>::min() ? 1 / pixel : 0;
    return flat;
}

} // namespace ombrel
