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

// So many tries in vain, over all passes, show a wide area, where rows are not searched any more.
constexpr std::size_t mostTriesInVain = 512;

template <typename T>
class InterpolationPasses {
public:
    InterpolationPasses(T* frameData, unsigned char* frameMask, FrameSize frameSize, FillFront& fillFront)
        : data(frameData), mask(frameMask), frame(frameSize), queue(frameData, frameSize.width),
          front(fillFront) {}
    ~InterpolationPasses() { front.stop(); }

    void run() {
        while (startRow < frame.height && runOne() != 0) {
        }
        if (front.isStarted())
            forgetWaiting();
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
        if (front.isStarted())
            wakeNeighbours(frame.height + neighbourReach);
        else if (triesInVain > mostTriesInVain)
            startFront();
        return changed;
    }

    void walkRows() {
        bool firstStretch = true;
        firstRow = startRow;
        for (std::size_t y = startRow; y < frame.height; ++y) {
            endRow = y + 1;
            if (front.isStarted() ? walkFront(y) : walkRow(y)) {
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
        const bool filled = fillFromKnown(x, y);
        triesInVain += !filled;
        return filled;
    }

    // As walkRow(), for what the front has of the row: all that this pass can change.
    bool walkFront(std::size_t y) {
        fetchAhead(y);
        bool hadWork = front.unfilled[y] != 0;
        front.visit(y, [&](std::size_t x) {
            unsigned char& code = mask[y * frame.width + x];
            if (code == previousCode) {
                code = MASK_FILLED;
                ++changed;
                return false;
            }
            // One that was filled in the last pass but one, and that the last did not reach, is filled again.
            const bool isBad = code == MASK_WAITING;
            hadWork = true;
            if (hasEnoughKnown(x, y) && fillFromKnown(x, y)) {
                code = passCode;
                ++changed;
                front.unfilled[y] -= isBad;
                front.addChanged(placeAt(x, y));
                return true;
            }
            if (!isBad || hasNeighbourOf(passCode, x, y))
                return true;
            code = MASK_BAD;
            return false;
        });
        wakeNeighbours(y);
        return hadWork;
    }

    // Asks for what later rows will need. Where an edge runs down the rows, each row is another page of
    // memory, and rows of a round width share few places in the cache: the second level is the one to hold
    // them.
    void fetchAhead(std::size_t y) const {
        constexpr std::size_t rowsAhead = 8;
        const std::size_t row = y + rowsAhead;
        if (row + neighbourReach >= frame.height)
            return;
        const std::size_t column = front.anyColumn(row);
        if (column < frame.width)
            fetchRow(column, row + neighbourReach);
    }

    void fetchRow(std::size_t x, std::size_t y) const {
        const std::size_t first = y * frame.width + x - std::min(x, neighbourReach);
        const std::size_t last = y * frame.width + std::min(x + neighbourReach, frame.width - 1);
        __builtin_prefetch(mask + first, 1, 2);
        __builtin_prefetch(data + first, 1, 2);
        __builtin_prefetch(data + last, 1, 2);
    }

    // After a pass: all pixels that may change later on. Bad ones are those that the pass did not reach, and
    // those near a pixel that is known next time and was not this time.
    void startFront() {
        front.start(frame.height);
        // The rows above the start row are not walked, but those next to it are sources.
        for (std::size_t y = startRow - std::min(startRow, neighbourReach); y < frame.height; ++y) {
            MarkList places;
            for (std::size_t start = 0; start < frame.width; start += maskChunk) {
                const std::size_t size = std::min(maskChunk, frame.width - start);
                const std::size_t count = listMarks(mask + y * frame.width + start, size, places);
                for (std::size_t i = 0; i < count; ++i)
                    startPlace(start + places[i], y);
            }
        }
        wakeNeighbours(frame.height + neighbourReach);
    }

    void startPlace(std::size_t x, std::size_t y) {
        unsigned char& code = mask[y * frame.width + x];
        if (code == MASK_FILLED)
            return;
        if (code == passCode || code == previousCode) {
            front.add(placeAt(x, y));
            if (code == passCode)
                front.addChanged(placeAt(x, y));
            return;
        }
        ++front.unfilled[y];
        code = MASK_BAD;
        if (y < firstRow || y >= endRow)
            wake(x, y);
    }

    // Those of what the pass has changed and whose rows it has all come by: in this pass they would be looked
    // at in vain.
    void wakeNeighbours(std::size_t walkedRow) {
        while (front.hasChanged() && front.firstChanged().row + neighbourReach <= walkedRow) {
            const FillFront::Place place = front.takeFirstChanged();
            const Neighbourhood around(place.column, place.row, frame);
            for (std::size_t row = std::max(around.top, startRow); row <= around.bottom; ++row)
                for (std::size_t column = around.left; column <= around.right; ++column)
                    if (mask[row * frame.width + column] == MASK_BAD)
                        wake(column, row);
        }
    }

    void wake(std::size_t x, std::size_t y) {
        mask[y * frame.width + x] = MASK_WAITING;
        front.add(placeAt(x, y));
    }

    void forgetWaiting() {
        for (std::size_t y = 0; y < frame.height; ++y)
            front.visit(y, [&](std::size_t x) {
                unsigned char& code = mask[y * frame.width + x];
                code = code == MASK_WAITING ? static_cast<unsigned char>(MASK_BAD) : code;
                return false;
            });
    }

    static FillFront::Place placeAt(std::size_t x, std::size_t y) {
        return {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
    }

    bool hasNeighbourOf(unsigned char code, std::size_t x, std::size_t y) const {
        const Neighbourhood around(x, y, frame);
        bool has = false;
        for (std::size_t row = around.top; row <= around.bottom; ++row)
            for (std::size_t column = around.left; column <= around.right; ++column)
                has |= mask[row * frame.width + column] == code;
        return has;
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
        if (!isEnough(known, around))
            return false;
        data[y * frame.width + x] = static_cast<T>(valueSum / weightSum);
        return true;
    }

    // By the mask alone: along a front every other try is in vain.
    bool hasEnoughKnown(std::size_t x, std::size_t y) const {
        const Neighbourhood around(x, y, frame);
        std::size_t known = 0;
        for (std::size_t row = around.top; row <= around.bottom; ++row)
            for (std::size_t column = around.left; column <= around.right; ++column)
                known += isKnown(mask[row * frame.width + column]);
        return isEnough(known, around);
    }

    static bool isEnough(std::size_t known, const Neighbourhood& around) {
        return around.cells() * 3 < known * 8;
    }

    bool isKnown(unsigned char code) const {
        return (code == MASK_GOOD) | (code == MASK_FILLED) | (code == previousCode);
    }

    T* data;
    unsigned char* mask;
    FrameSize frame;
    FillQueue<T> queue;
    FillFront& front; // started once tries were in vain too often
    std::size_t triesInVain = 0;
    std::size_t firstRow = 0; // of the running pass, and the end of those that it has come to
    std::size_t endRow = 0;
    unsigned char passCode = 3;
    unsigned char previousCode = 2;
    std::size_t startRow = 0;
    std::size_t changed = 0; // codes that the running pass has changed
};

} // namespace

template <typename T>
void runInterpolationPasses(T* data, unsigned char* mask, std::size_t width, std::size_t height,
                            FillFront& front) {
    InterpolationPasses<T>(data, mask, {width, height}, front).run();
}

template <typename T>
int tInterpolateBadPixels(T* data, unsigned char* mask, unsigned long width, unsigned long height,
                          FillFront& front) {
    const std::size_t size = width * height;
    const std::size_t badPixels = countMarks(mask, size);
    if (badPixels > size / 2)
        return -1;
    InterpolationPasses<T>(data, mask, {width, height}, front).runForData(badPixels);
    setMarksToOne(mask, size);
    return 0;
}

template void runInterpolationPasses<double>(double*, unsigned char*, std::size_t, std::size_t, FillFront&);
template int tInterpolateBadPixels<double>(double*, unsigned char*, unsigned long, unsigned long, FillFront&);

} // namespace PluginOmbrel
