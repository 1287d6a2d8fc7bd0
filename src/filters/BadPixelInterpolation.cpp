#include "filters/BadPixelInterpolation.h"

#include "filters/FillQueue.h"
#include "filters/MaskScan.h"
#include "filters/Neighbourhood.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace PluginOmbrel {

namespace {

std::uint64_t wordAt(const unsigned char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

template <typename T>
class InterpolationPasses {
public:
    InterpolationPasses(T* frameData, unsigned char* frameMask, FrameSize frameSize)
        : data(frameData), mask(frameMask), frame(frameSize), queue(frameData, frameSize.width) {}

    void run() {
        while (startRow < frame.height && runOne() != 0) {
        }
    }

    // For a mask of which only the fact counts afterwards, with `badPixels` marks in it: when the first pass
    // has filled them all, what follows changes codes alone. Later on that is no longer so, since a filled
    // pixel that a pass has not reached counts as bad in the next but one.
    void runForData(std::size_t badPixels) {
        if (badPixels == 0)
            return;
        const std::size_t changedFirst = runOne();
        if (changedFirst != 0 && changedFirst != badPixels)
            run();
    }

private:
    // How many codes the pass has changed.
    std::size_t runOne() {
        std::swap(passCode, previousCode);
        changed = 0;
        walkRows();
        queue.fillAll();
        return changed;
    }

    void walkRows() {
        bool firstStretch = true;
        for (std::size_t y = startRow; y < frame.height; ++y) {
            if (walkRow(y)) {
                firstStretch = false;
                startRow += changed == 0;
                continue;
            }
            if (!firstStretch && changed != 0)
                return;
            startRow += changed == 0 ? 2 : 1;
        }
    }

    // True when the row had pixels to fill, whether or not they could be.
    bool walkRow(std::size_t y) {
        bool hadWork = false;
        MarkList places;
        for (std::size_t start = 0; start < frame.width; start += maskChunk) {
            const std::size_t size = std::min(maskChunk, frame.width - start);
            const std::size_t count = listMarks(mask + y * frame.width + start, size, places);
            for (std::size_t i = 0; i < count; ++i)
                hadWork |= visit(start + places[i], y);
        }
        return hadWork;
    }

    // True when the pixel was one to fill.
    bool visit(std::size_t x, std::size_t y) {
        unsigned char& code = mask[y * frame.width + x];
        if (code == MASK_FILLED)
            return false;
        if (code == previousCode) {
            code = MASK_FILLED;
            ++changed;
            return false;
        }
        if (fill(x, y)) {
            code = passCode;
            ++changed;
        }
        return true;
    }

    // False when too few neighbours are known.
    bool fill(std::size_t x, std::size_t y) {
        if (isSurroundedByGood(x, y)) {
            queue.add(x, y);
            return true;
        }
        return fillFromKnown(x, y);
    }

    // May be false for a pixel near an edge all the same: a whole word must fit into the row.
    bool isSurroundedByGood(std::size_t x, std::size_t y) const {
        constexpr std::size_t wordBytes = sizeof(std::uint64_t);
        constexpr std::uint64_t fiveBytes = 0xff'ffff'ffff;
        constexpr std::uint64_t withoutCentre = 0xff'ff00'ffff;
        if (x < neighbourReach || x + wordBytes - neighbourReach > frame.width || y < neighbourReach ||
            y + neighbourReach >= frame.height)
            return false;
        const unsigned char* const centre = mask + y * frame.width + x - neighbourReach;
        const std::uint64_t others = wordAt(centre - 2 * frame.width) | wordAt(centre - frame.width) |
                                     wordAt(centre + frame.width) | wordAt(centre + 2 * frame.width);
        return ((others & fiveBytes) | (wordAt(centre) & withoutCentre)) == 0;
    }

    // A neighbour that is not known adds nothing by way of a zero, since its code can't be foreseen.
    bool fillFromKnown(std::size_t x, std::size_t y) {
        const Neighbourhood around(x, y, frame);
        std::size_t known = 0;
        double weightSum = 0;
        double valueSum = 0;
        for (std::size_t row = around.top; row <= around.bottom; ++row)
            for (std::size_t column = around.left; column <= around.right; ++column) {
                const std::size_t cell = row * frame.width + column;
                const double weight = inverseDistances[row + neighbourReach - y][column + neighbourReach - x];
                const double product = weight * static_cast<double>(data[cell]);
                const bool isSource = isKnown(mask[cell]);
                known += isSource;
                weightSum += isSource ? weight : 0;
                valueSum += isSource ? product : 0;
            }
        if (around.cells() * 3 >= known * 8)
            return false;
        data[y * frame.width + x] = static_cast<T>(valueSum / weightSum);
        return true;
    }

    bool isKnown(unsigned char code) const {
        return (code == MASK_GOOD) | (code == MASK_FILLED) | (code == previousCode);
    }

    T* data;
    unsigned char* mask;
    FrameSize frame;
    FillQueue<T> queue;
    unsigned char passCode = 3;
    unsigned char previousCode = 2;
    std::size_t startRow = 0;
    std::size_t changed = 0; // codes that the running pass has changed
};

} // namespace

template <typename T>
void runInterpolationPasses(T* data, unsigned char* mask, std::size_t width, std::size_t height) {
    InterpolationPasses<T>(data, mask, {width, height}).run();
}

template <typename T>
int tInterpolateBadPixels(T* data, unsigned char* mask, unsigned long width, unsigned long height) {
    const std::size_t size = width * height;
    const std::size_t badPixels = countMarks(mask, size);
    if (badPixels > size / 2)
        return -1;
    InterpolationPasses<T>(data, mask, {width, height}).runForData(badPixels);
    setMarksToOne(mask, size);
    return 0;
}

template void runInterpolationPasses<double>(double*, unsigned char*, std::size_t, std::size_t);
template int tInterpolateBadPixels<double>(double*, unsigned char*, unsigned long, unsigned long);

} // namespace PluginOmbrel
