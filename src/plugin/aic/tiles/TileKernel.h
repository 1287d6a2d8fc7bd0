#pragma once

#include "tiles/Lanes.h"
#include "tiles/TilePass.h"

// The tile kernel for the processor that the including source is compiled for. One lane is one tile: the
// additions along a tile's row depend on each other, those of neighbouring tiles do not.
//
// Quotients of a row are kept in a ring of rows. Before and after each group, a row has copies of the columns
// of neighbouring tiles that the window reaches. The row that is filtered is `lag` rows before the row that
// is divided, so that both run in one loop: the divider and the adders work at the same time.
namespace {

// Positions in a tile's row: only in its outer columns may the window extend past the image.
struct Interior {
    static constexpr bool atEdge = false;
};
struct Edge {
    static constexpr bool atEdge = true;
};

// The pass for one shape of taps and fixed numbers of candidates and masks.
//
// A row of the ring contains, for each vector of tiles and for each column of a tile plus `half` more on both
// sides, the vectors of the candidates.
template <class Taps, int Candidates, int Masks>
class TileKernel {
public:
    explicit TileKernel(const TilePass& tilePass)
        : pass(tilePass), taps(tilePass.taps), column(tilePass.groupTiles), tile(tilePass.tile),
          vectors((tilePass.tilesUsed + laneCount - 1) / laneCount), vectorSize((tile + 2 * half) * step),
          totals(reinterpret_cast<Doubles*>(tilePass.work)) {
        float* row = tilePass.work + vectors * 2 * step + half * step;
        for (float*& ringRow : ring) {
            ringRow = row;
            row += vectors * vectorSize;
        }
    }

    void run() {
        const int scoredRows = pass.tile * pass.tilesDown;
        const int dividedRows = scoredRows + half < pass.rows ? scoredRows + half : pass.rows;
        const int filterEnd = scoredRows < pass.rows - half ? scoredRows : pass.rows - half;
        clearTotals();
        int rowsToTile = pass.tile + lag;
        for (int divided = 0; divided < scoredRows + lag; ++divided) {
            const int filtered = divided - lag;
            const bool divides = divided < dividedRows;
            const bool filters = filtered >= half && filtered < filterEnd;
            if (divides && filters)
                row<true, true>(divided);
            else if (divides)
                row<true, false>(divided);
            else if (filters)
                row<false, true>(divided);
            // Copy one row after its division: by then its pixels have left the processor's store buffer.
            copyNeighbourColumns(ring[1]);
            if (--rowsToTile == 0) {
                storeTotals(filtered / pass.tile);
                rowsToTile = pass.tile;
            }
            rotateRing();
        }
    }

private:
    static constexpr int half = Taps::half;
    static constexpr int lag = half + 2; // distance from the filtered to the divided row
    static constexpr int ringRows = lag + half + 1;
    static constexpr int step = Candidates * laneCount;
    static constexpr std::ptrdiff_t prefetchDistance =
        512; // floats; measured: half or twice of it performs the same

    // Pointers into a row of tiles, initially at its first vector.
    struct Row {
        const float* frame;
        const float* images[Candidates];
        const float* masks[Masks + 1];
        const std::int32_t* inside;
        float* quotients;
        const float* window[2 * half + 1];
        Doubles* totals;
    };

    void rotateRing() {
        float* const oldest = ring[ringRows - 1];
        for (int i = ringRows - 1; i > 0; --i)
            ring[i] = ring[i - 1];
        ring[0] = oldest;
    }

    template <bool Divides, bool Filters>
    void row(int divided) const {
        Row start;
        if constexpr (Divides) {
            start.frame = pass.frame + divided * pass.rowSize;
            for (int c = 0; c < Candidates; ++c)
                start.images[c] = pass.images[c] + divided * pass.imageRowSize;
            for (int m = 0; m < Masks; ++m)
                start.masks[m] = pass.maskRows[m][divided];
        }
        start.inside = pass.inside;
        start.quotients = ring[0];
        for (int i = 0; i < 2 * half + 1; ++i)
            start.window[i] = ring[lag + half - i];
        start.totals = totals;
        std::ptrdiff_t lane = 0; // in the group
        for (std::ptrdiff_t v = 0; v < vectors; ++v) {
            rowOfTiles<Divides, Filters>(start);
            lane += laneCount;
            const bool groupEnds = lane == column;
            lane = groupEnds ? 0 : lane;
            advance<Divides>(start, groupEnds ? tile * column - column + laneCount : laneCount);
        }
    }

    template <bool Divides>
    void advance(Row& row, std::ptrdiff_t distance) const {
        if constexpr (Divides) {
            row.frame += distance;
            for (const float*& image : row.images)
                image += distance;
            for (int m = 0; m < Masks; ++m)
                row.masks[m] += distance;
        }
        row.inside += distance;
        row.quotients += vectorSize;
        for (const float*& windowRow : row.window)
            windowRow += vectorSize;
        row.totals += 2 * Candidates;
    }

    template <bool Divides, bool Filters>
    void rowOfTiles(const Row& row) const {
        Doubles even[Candidates] = {};
        Doubles odd[Candidates] = {};
        const auto pixels = [&](auto position, std::ptrdiff_t begin, std::ptrdiff_t end) {
            std::ptrdiff_t at = begin * column;
            for (std::ptrdiff_t i = begin * step; i < end * step; i += step, at += column) {
                if constexpr (Divides) {
                    const Floats dividend = load(row.frame + at);
                    for (int c = 0; c < Candidates; ++c)
                        __builtin_prefetch(row.images[c] + at + prefetchDistance);
                    for (int c = 0; c < Candidates; ++c) {
                        Floats quotient = dividend / load(row.images[c] + at);
                        for (int m = 0; m < Masks; ++m)
                            quotient *= load(row.masks[m] + at);
                        store(row.quotients + i + c * laneCount, quotient);
                    }
                }
                if constexpr (Filters) {
                    for (int c = 0; c < Candidates; ++c) {
                        Floats value = taps.template at<step>(row.window, i + c * laneCount);
                        if constexpr (position.atEdge)
                            value = reinterpret_cast<Floats>(reinterpret_cast<Ints>(value) &
                                                             *reinterpret_cast<const Ints*>(row.inside + at));
                        even[c] += Taps::even(value);
                        odd[c] += Taps::odd(value);
                    }
                }
            }
        };
        const std::ptrdiff_t interiorEnd = tile < 2 * half ? half : tile - half;
        pixels(Edge{}, 0, half);
        pixels(Interior{}, half, interiorEnd);
        pixels(Edge{}, interiorEnd, tile);
        // A tile's total is rounded to float after each row.
        for (int c = 0; Filters && c < Candidates; ++c) {
            Doubles* const total = row.totals + 2 * c;
            total[0] = roundedToFloat(total[0] + even[c] * Taps::scale);
            total[1] = roundedToFloat(total[1] + odd[c] * Taps::scale);
        }
    }

    void copyNeighbourColumns(float* row) const {
        for (std::ptrdiff_t v = 0; v < vectors; ++v, row += vectorSize) {
            for (std::ptrdiff_t i = 0; i < half * step; i += laneCount) {
                const float* const last = row + tile * step - half * step + i;
                float* const before = row - half * step + i;
                storeUnaligned(before, loadUnaligned(last - 1));
                before[0] = v == 0 ? 0 : last[laneCount - 1 - vectorSize];
                const float* const first = row + i;
                float* const shifted = row + tile * step + i;
                storeUnaligned(shifted, loadUnaligned(first + 1));
                shifted[laneCount - 1] = v + 1 == vectors ? 0 : first[vectorSize];
            }
        }
    }

    void storeTotals(int tileRow) const {
        for (int c = 0; c < Candidates; ++c) {
            for (int k = 0; k < pass.tilesAcross; ++k) {
                const int lane = k % laneCount;
                const Doubles& total = totals[2 * (k / laneCount * Candidates + c) + lane % 2];
                pass.sums[c][k * pass.tilesDown + tileRow] = static_cast<float>(total[lane / 2]);
            }
        }
        clearTotals();
    }

    void clearTotals() const {
        for (std::ptrdiff_t i = 0; i < 2 * vectors * Candidates; ++i)
            totals[i] = Doubles{};
    }

    const TilePass& pass;
    const Taps taps;
    const std::ptrdiff_t column; // in an image, from a pixel of a tile to its right neighbour
    const std::ptrdiff_t tile;
    const std::ptrdiff_t vectors;    // of tiles, in a row
    const std::ptrdiff_t vectorSize; // in the ring
    float* ring[ringRows];           // latest row first
    Doubles* const totals;           // for each vector and candidate: even lanes and odd lanes
};

template <class Taps, int Masks>
void runTileKernel(const TilePass& pass) {
    if (pass.candidates == 1)
        TileKernel<Taps, 1, Masks>(pass).run();
    else
        TileKernel<Taps, 2, Masks>(pass).run();
}

inline void sumTiles(const TilePass& pass) {
    switch (pass.shape) {
    case TapShape::Cross:
        return pass.masks == 0 ? runTileKernel<CrossTaps, 0>(pass) : runTileKernel<CrossTaps, 1>(pass);
    case TapShape::Ring:
        return pass.masks == 0 ? runTileKernel<RingTaps, 0>(pass) : runTileKernel<RingTaps, 1>(pass);
    case TapShape::Square3:
        return runTileKernel<SquareTaps<1>, 2>(pass);
    case TapShape::Square5:
        return runTileKernel<SquareTaps<2>, 2>(pass);
    }
}

} // namespace
