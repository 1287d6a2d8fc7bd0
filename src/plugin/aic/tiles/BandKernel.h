#pragma once

#include "tiles/Lanes.h"
#include "tiles/TilePass.h"

#include <cstddef>

// The band kernel for the processor that the including source is compiled for: sums of filtered magnitudes
// over some rows of a quotient, frame / image, in images of plain rows. Every value must stay finite.
//
// Plain data, see TilePass.h.
struct BandPass {
    static constexpr std::ptrdiff_t rowAlignment = 16; // floats
    static constexpr std::ptrdiff_t workRows = 8;

    std::ptrdiff_t cols;     // 3 or more
    std::ptrdiff_t firstRow; // at least 1
    std::ptrdiff_t endRow;   // at most the number of rows less 1
    const float* frame;
    // The image, or for a range of images the bounds of their reciprocals: at most and at least those of any.
    const float* image;
    const float* leastFactors;
    const float* greatestFactors;
    TapShape shape;      // Cross or Ring
    const float* centre; // the tap; 0 or more for a range of images
    // workRows rows of `workRow` floats, and rowAlignment more before and after them, all finite. A row has
    // the columns rounded up to rowAlignment, and rowAlignment more.
    float* work;
    std::ptrdiff_t workRow;
};

namespace {

constexpr std::ptrdiff_t prefetchDistance = 512; // floats

// A row of quotients, with neighbours before and after it that may be read.
class OneQuotient {
public:
    static constexpr std::ptrdiff_t storageRows = 1;
    static constexpr bool addsInDouble = true;
    OneQuotient(float* storage, std::ptrdiff_t) : pixels(storage) {}

    void divide(const BandPass& pass, std::ptrdiff_t start, std::ptrdiff_t x) {
        __builtin_prefetch(pass.image + start + x + prefetchDistance);
        store(pixels + x, loadUnaligned(pass.frame + start + x) / loadUnaligned(pass.image + start + x));
    }
    void divideLast(const BandPass& pass, std::ptrdiff_t start, std::ptrdiff_t x) {
        for (; x < pass.cols; ++x)
            pixels[x] = pass.frame[start + x] / pass.image[start + x];
    }

    template <class Taps>
    static Floats magnitude(const Taps& taps, const OneQuotient& above, const OneQuotient& row,
                            const OneQuotient& below, std::ptrdiff_t at) {
        return taps.of([&](int x, int y) {
            const float* const pixel = (y < 0 ? above : y > 0 ? below : row).pixels + at + x;
            return x == 0 ? load(pixel) : loadUnaligned(pixel);
        });
    }

private:
    float* pixels;
};

// The least and greatest quotients of any images within a range. Multiplication, division and each step of
// the filter are monotonic even when rounded: the least filtered value is that of the least centre and the
// greatest neighbours, to the last bit.
class QuotientRange {
public:
    static constexpr std::ptrdiff_t storageRows = 2;
    static constexpr bool addsInDouble = false; // a bound needs no more than float in a row
    QuotientRange(float* storage, std::ptrdiff_t rowSize) : least(storage), greatest(storage + rowSize) {}

    void divide(const BandPass& pass, std::ptrdiff_t start, std::ptrdiff_t x) {
        __builtin_prefetch(pass.leastFactors + start + x + prefetchDistance);
        __builtin_prefetch(pass.greatestFactors + start + x + prefetchDistance);
        const Floats dividend = loadUnaligned(pass.frame + start + x);
        const Floats one = dividend * loadUnaligned(pass.leastFactors + start + x);
        const Floats other = dividend * loadUnaligned(pass.greatestFactors + start + x);
        store(least + x, smaller(one, other)); // for a pixel below 0 that is the other
        store(greatest + x, greater(one, other));
    }
    void divideLast(const BandPass& pass, std::ptrdiff_t start, std::ptrdiff_t x) {
        for (; x < pass.cols; ++x) {
            const float one = pass.frame[start + x] * pass.leastFactors[start + x];
            const float other = pass.frame[start + x] * pass.greatestFactors[start + x];
            least[x] = one < other ? one : other;
            greatest[x] = one < other ? other : one;
        }
    }

    // The least magnitude of the filtered values.
    template <class Taps>
    static Floats magnitude(const Taps& taps, const QuotientRange& above, const QuotientRange& row,
                            const QuotientRange& below, std::ptrdiff_t at) {
        const auto filtered = [&](auto centre, auto neighbours) {
            return taps.of([&](int x, int y) {
                const QuotientRange& of = y < 0 ? above : y > 0 ? below : row;
                const float* const pixel = (x == 0 && y == 0 ? of.*centre : of.*neighbours) + at + x;
                return x == 0 ? load(pixel) : loadUnaligned(pixel);
            });
        };
        const Floats low = filtered(&QuotientRange::least, &QuotientRange::greatest);
        const Floats high = filtered(&QuotientRange::greatest, &QuotientRange::least);
        return greater(greater(low, -high), Floats{});
    }

private:
    float* least;
    float* greatest;
};

// Zeros outside of the columns from 1 to the last but one.
inline Floats withoutBorder(Floats values, std::ptrdiff_t x, std::ptrdiff_t cols) {
    Ints inside;
    for (int i = 0; i < laneCount; ++i)
        inside[i] = x + i > 0 && x + i < cols - 1 ? -1 : 0;
    return reinterpret_cast<Floats>(reinterpret_cast<Ints>(values) & inside);
}

// The sums of the rows of a band. A row is divided two rows ahead of its filter, so that the divider and the
// adders work at the same time.
template <class Taps, class Row>
double sumRows(const BandPass pass) { // copied: a store of floats could change the caller's
    const Taps taps(pass.centre);
    const auto storage = [&](std::ptrdiff_t i) {
        return pass.work + BandPass::rowAlignment + i * Row::storageRows * pass.workRow;
    };
    Row above(storage(0), pass.workRow);
    Row row(storage(1), pass.workRow);
    Row below(storage(2), pass.workRow);
    Row ahead(storage(3), pass.workRow);
    const std::ptrdiff_t wholeEnd = pass.cols / laneCount * laneCount;
    const auto divide = [&](Row& divided, std::ptrdiff_t y) {
        for (std::ptrdiff_t x = 0; x < wholeEnd; x += laneCount)
            divided.divide(pass, y * pass.cols, x);
        divided.divideLast(pass, y * pass.cols, wholeEnd);
    };
    divide(above, pass.firstRow - 1);
    divide(row, pass.firstRow);
    divide(below, pass.firstRow + 1);
    Doubles even = {};
    Doubles odd = {};
    Floats rowSum = {};
    const auto addInDouble = [&](Floats value) {
        even += Taps::even(value);
        odd += Taps::odd(value);
    };
    for (std::ptrdiff_t y = pass.firstRow; y < pass.endRow; ++y) {
        const std::ptrdiff_t start = (y + 2 <= pass.endRow ? y + 2 : y) * pass.cols;
        const auto step = [&](std::ptrdiff_t x, bool isEdge) {
            if (x < wholeEnd)
                ahead.divide(pass, start, x);
            const Floats value = Row::magnitude(taps, above, row, below, x);
            const Floats inside = isEdge ? withoutBorder(value, x, pass.cols) : value;
            if constexpr (Row::addsInDouble)
                addInDouble(inside);
            else
                rowSum += inside;
        };
        std::ptrdiff_t x = 0;
        step(x, true);
        for (x += laneCount; x + laneCount < pass.cols; x += laneCount)
            step(x, false);
        if (x < pass.cols)
            step(x, true);
        ahead.divideLast(pass, start, wholeEnd);
        if constexpr (!Row::addsInDouble) {
            addInDouble(rowSum);
            rowSum = Floats{};
        }
        const Row oldest = above;
        above = row;
        row = below;
        below = ahead;
        ahead = oldest;
    }
    const Doubles sums = even + odd;
    double total = 0;
    for (int i = 0; i < laneCount / 2; ++i)
        total += sums[i];
    constexpr double floatStep = 0x1p-23; // twice the most that an addition rounds, relative
    const double rounded = Row::addsInDouble ? 0 : static_cast<double>(pass.cols / laneCount + 2) * floatStep;
    return total * Taps::scale * (1 - rounded);
}

// The sum for one image.
inline double sumBand(const BandPass& pass) {
    return pass.shape == TapShape::Cross ? sumRows<CrossTaps, OneQuotient>(pass)
                                         : sumRows<RingTaps, OneQuotient>(pass);
}

// A sum that is at most that of any image within the range, but for the rounding of additions in double.
inline double leastSumOfBand(const BandPass& pass) {
    return pass.shape == TapShape::Cross ? sumRows<CrossTaps, QuotientRange>(pass)
                                         : sumRows<RingTaps, QuotientRange>(pass);
}

} // namespace
