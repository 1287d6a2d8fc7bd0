#pragma once

#include "kernels/BadPixelMask.h"
#include "kernels/FillFront.h"
#include "kernels/Fills.h"
#include "kernels/Neighbourhood.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>
#include <utility>

namespace PluginOmbrel {

// The codes of a mask while passes run. In addition, 2 and 3 alternate as the codes of pixels filled in the
// running pass and in the one before. The first pass treats an initial 3 as filled in the pass before; any
// other value except GOOD and FILLED is bad.
enum MaskCode : unsigned char {
    MASK_GOOD = 0,
    MASK_BAD = 1,
    MASK_FILLED = 4,  // earlier than in the last pass: always known
    MASK_WAITING = 5, // bad, to be checked again
};

// The passes over a mask. Which pixels they fill, and from which sources, depends on the mask alone: `Sink`
// gets the fills in the order of the passes,
//   add(fill, isFirst)   isFirst: all its sources are good pixels, and it was not filled before; false unless
//                        Sink::asksForFirst
//   endPass()            fills of one pass are not sources of each other
template <typename Sink>
class InterpolationPasses {
public:
    InterpolationPasses(Sink& fillSink, unsigned char* frameMask, FrameSize frameSize, FillFront& fillFront)
        : sink(fillSink), mask(frameMask), frame(frameSize), front(fillFront) {}
    ~InterpolationPasses() { front.stop(); }

    void run() {
        while (startRow < frame.height && runOne() != 0) {
        }
        if (front.isStarted())
            forgetWaiting();
    }

    // For callers that need the fills, and of the mask only whether each byte is 0; `badPixels` marks are set
    // in it. If the first pass fills all of them, further passes would change codes only. After later passes
    // this does not hold any more, since a filled pixel that a pass did not reach counts as bad two passes
    // later.
    void runForFills(std::size_t badPixels) {
        if (badPixels == 0)
            return;
        const std::size_t changedFirst = runOne();
        if (changedFirst != 0 && changedFirst != badPixels)
            run();
    }

private:
    // This many failed attempts, over all passes, indicate a wide area; rows are then no longer scanned.
    static constexpr std::size_t mostTriesInVain = 512;

    static std::uint64_t wordAt(const unsigned char* bytes) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }

    // Returns how many codes the pass changed.
    std::size_t runOne() {
        std::swap(passCode, previousCode);
        changed = 0;
        walkRows();
        sink.endPass();
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

    // True when the row had pixels to fill, even if none could be filled.
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

    // True when the pixel had to be filled.
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
        const bool isBad = mask[y * frame.width + x] == MASK_BAD;
        if (isSurroundedByGood(x, y)) {
            sink.add(Fill(y * frame.width + x, Fill::allButCentre, false), isBad);
            return true;
        }
        const bool filled = fillFromKnown(x, y);
        triesInVain += !filled;
        return filled;
    }

    // Like walkRow(), but visits only the front's columns of the row: all that this pass can change.
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
            // A pixel filled two passes ago that the last pass did not reach is filled again.
            const bool isBad = code == MASK_WAITING;
            hadWork = true;
            if (fillFromKnown(x, y)) {
                code = passCode;
                ++changed;
                front.unfilled[y] -= isBad;
                front.addChanged(placeAt(x, y));
                return true;
            }
            if (!isBad || cellsOf({passCode, passCode, passCode}, x, y) != 0)
                return true;
            code = MASK_BAD;
            return false;
        });
        wakeNeighbours(y);
        return hadWork;
    }

    // Prefetches for later rows. Along a vertical edge each row is on a different page of memory, and rows
    // whose width is a round number share few cache sets: so prefetch into the second-level cache. Inlined,
    // since the compiler drops calls without other effects.
    __attribute__((always_inline)) void fetchAhead(std::size_t y) const {
        constexpr std::size_t rowsAhead = 6;
        constexpr std::size_t columnsAhead = 24;
        if (y + columnsAhead >= frame.height)
            return;
        __builtin_prefetch(front.placeOfColumns(y + columnsAhead));
        const std::size_t row = y + rowsAhead;
        const std::size_t column = front.anyColumn(row);
        if (column >= frame.width)
            return;
        const std::size_t rowStart = (row + neighbourReach) * frame.width;
        const std::size_t left = rowStart + column - std::min(column, neighbourReach);
        __builtin_prefetch(mask + left, 0, 2);
    }

    // Called after a pass: collects all pixels that may still change. Among the bad ones these are the pixels
    // that the pass did not reach, and those near a pixel that becomes known in the next pass.
    void startFront() {
        front.start(frame.height);
        // Rows above the start row are not visited, but the nearest of them are sources.
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

    // Wakes the bad neighbours of pixels that the pass changed, but only after it has passed all their rows:
    // in this pass another look would be in vain.
    void wakeNeighbours(std::size_t walkedRow) {
        while (front.hasChanged() && front.firstChanged().row + neighbourReach <= walkedRow) {
            const FillFront::Place place = front.takeFirstChanged();
            Cells bad = cellsOf({MASK_BAD, MASK_BAD, MASK_BAD}, place.column, place.row);
            for (; bad != 0; bad &= bad - 1) {
                const auto cell = static_cast<std::size_t>(std::countr_zero(bad));
                wake(place.column + cell % neighbourSide - neighbourReach,
                     place.row + cell / neighbourSide - neighbourReach);
            }
        }
    }

    void wake(std::size_t x, std::size_t y) {
        mask[y * frame.width + x] = MASK_WAITING;
        front.add(placeAt(x, y));
    }

    void forgetWaiting() {
        for (std::size_t y = 0; y < frame.height; ++y)
            front.visit(
                y,
                [&](std::size_t x) {
                    unsigned char& code = mask[y * frame.width + x];
                    code = code == MASK_WAITING ? static_cast<unsigned char>(MASK_BAD) : code;
                    return false;
                });
    }

    static FillFront::Place placeAt(std::size_t x, std::size_t y) {
        return {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
    }

    // May return false for a pixel near an edge even if it is.
    bool isSurroundedByGood(std::size_t x, std::size_t y) const {
        constexpr std::uint64_t fiveBytes = 0xff'ffff'ffff;
        constexpr std::uint64_t withoutCentre = 0xff'ff00'ffff;
        if (!hasWordsAround(x, y))
            return false;
        const unsigned char* const centre = mask + y * frame.width + x - neighbourReach;
        const std::uint64_t others = wordAt(centre - 2 * frame.width) | wordAt(centre - frame.width) |
                                     wordAt(centre + frame.width) | wordAt(centre + 2 * frame.width);
        return ((others & fiveBytes) | (wordAt(centre) & withoutCentre)) == 0;
    }

    bool fillFromKnown(std::size_t x, std::size_t y) {
        const Cells known = cellsOf({MASK_GOOD, MASK_FILLED, previousCode}, x, y);
        if (Neighbourhood(x, y, frame).cells() * 3 >= static_cast<std::size_t>(std::popcount(known)) * 8)
            return false;
        const std::size_t place = y * frame.width + x;
        const unsigned char code = mask[place];
        const bool isFirst = Sink::asksForFirst && (code == MASK_BAD || code == MASK_WAITING) &&
                             cellsOf({MASK_GOOD, MASK_GOOD, MASK_GOOD}, x, y) == known;
        const std::size_t reach = neighbourReach * (frame.width + 1);
        const bool nearEnd = place < reach || place + reach >= frame.width * frame.height;
        sink.add(Fill(place, known, nearEnd), isFirst);
        return true;
    }

    using Cells = Fill::Cells;
    using Codes = std::array<unsigned char, 3>;

    // The cells that have one of the codes.
    Cells cellsOf(const Codes& codes, std::size_t x, std::size_t y) const {
        if (!hasWordsAround(x, y))
            return cellsNearEdge(codes, x, y);
        const unsigned char* row = mask + (y - neighbourReach) * frame.width + x - neighbourReach;
        Cells cells = 0;
        for (std::size_t i = 0; i < neighbourSide; ++i, row += frame.width) {
            const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row));
            __m128i equal = _mm_setzero_si128();
            for (const unsigned char code : codes)
                equal = _mm_or_si128(equal, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(code))));
            cells |= (static_cast<Cells>(_mm_movemask_epi8(equal)) & 31) << (i * neighbourSide);
        }
        return cells;
    }

    Cells cellsNearEdge(const Codes& codes, std::size_t x, std::size_t y) const {
        const Neighbourhood around(x, y, frame);
        Cells cells = 0;
        for (std::size_t row = around.top; row <= around.bottom; ++row)
            for (std::size_t column = around.left; column <= around.right; ++column) {
                const std::size_t cell =
                    (row + neighbourReach - y) * neighbourSide + column + neighbourReach - x;
                const bool has = std::ranges::find(codes, mask[row * frame.width + column]) != codes.end();
                cells |= Cells{has} << cell;
            }
        return cells;
    }

    // May return false for a pixel near an edge even if its neighbourhood is complete: a whole word must fit
    // into the row.
    bool hasWordsAround(std::size_t x, std::size_t y) const {
        return x >= neighbourReach && x + sizeof(std::uint64_t) - neighbourReach <= frame.width &&
               y >= neighbourReach && y + neighbourReach < frame.height;
    }

    Sink& sink;
    unsigned char* mask;
    FrameSize frame;
    FillFront& front; // started after too many failed attempts
    std::size_t triesInVain = 0;
    std::size_t firstRow = 0; // rows that the running pass has visited: [firstRow, endRow)
    std::size_t endRow = 0;
    unsigned char passCode = 3;
    unsigned char previousCode = 2;
    std::size_t startRow = 0;
    std::size_t changed = 0; // codes changed by the running pass
};

} // namespace PluginOmbrel
