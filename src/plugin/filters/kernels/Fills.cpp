#include "kernels/Fills.h"

#include "kernels/Neighbourhood.h"
#include "kernels/ProcessorDispatch.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace PluginOmbrel {

namespace {

constexpr std::size_t cellCount = neighbourSide * neighbourSide;
constexpr std::size_t centreCell = cellCount / 2;

void fillOne(double* data, std::size_t width, const Fill& fill) {
    double* const pixel = data + fill.place();
    double weightSum = 0;
    double valueSum = 0;
    for (Fill::Cells known = fill.known(); known != 0; known &= known - 1) {
        const auto cell = static_cast<std::size_t>(std::countr_zero(known));
        const std::size_t row = cell / neighbourSide;
        const std::size_t column = cell % neighbourSide;
        const double weight = inverseDistances[row][column];
        const auto offset = static_cast<std::ptrdiff_t>(row * width + column) -
                            static_cast<std::ptrdiff_t>(neighbourReach * (width + 1));
        weightSum += weight;
        valueSum += weight * pixel[offset];
    }
    *pixel = valueSum / weightSum;
}

// Sums for several pixels at once, one a lane. Each addition to a sum waits for the previous one, so two
// vectors of pixels take hardly longer than one.
template <std::size_t Lanes>
struct FillLanes {
    using Doubles = typename Vector<Lanes>::Doubles;
    using LaneMask = typename Vector<Lanes>::LaneMask;
    static_assert(sizeof(Fill) == sizeof(double));

    LaneMask fills;
    const double* rows[Lanes]; // the first cell of each pixel's present row
    Doubles weightSums{};
    Doubles valueSums{};

    __attribute__((always_inline)) FillLanes(const double* data, std::size_t width, const Fill* first) {
        std::memcpy(&fills, first, sizeof fills);
        for (std::size_t lane = 0; lane < Lanes; ++lane)
            rows[lane] = data + first[lane].place() - neighbourReach * (width + 1);
    }

    template <std::size_t Row>
    __attribute__((always_inline)) void addRow(std::size_t width) {
        Doubles cells[neighbourSide];
        load(cells);
        for (std::size_t column = 0; column < neighbourSide; ++column) {
            const std::size_t cell = Row * neighbourSide + column;
            if (cell == centreCell)
                continue;
            const LaneMask unknown = (fills & (1L << cell)) == 0;
            const double weight = inverseDistances[Row][column];
            const Doubles weightSum = weightSums + weight;
            const Doubles valueSum = valueSums + weight * cells[column];
            weightSums = unknown ? weightSums : weightSum;
            valueSums = unknown ? valueSums : valueSum;
        }
        for (std::size_t lane = 0; lane < Lanes; ++lane)
            rows[lane] += width;
    }

    __attribute__((always_inline)) void store(double* data, const Fill* first) const {
        const Doubles means = valueSums / weightSums;
        for (std::size_t lane = 0; lane < Lanes; ++lane)
            data[first[lane].place()] = means[lane];
    }

private:
    // Turns the rows of the pixels into one vector for each column.
    __attribute__((always_inline)) void load(Doubles (&cells)[neighbourSide]) const {
        if constexpr (Lanes >= 4) {
            Doubles line[4];
            for (std::size_t i = 0; i < 4; ++i)
                loadLine(i, line[i]);
            Doubles low0, low1, high0, high1;
            if constexpr (Lanes == 4) {
                low0 = __builtin_shufflevector(line[0], line[1], 0, 4, 2, 6);
                low1 = __builtin_shufflevector(line[0], line[1], 1, 5, 3, 7);
                high0 = __builtin_shufflevector(line[2], line[3], 0, 4, 2, 6);
                high1 = __builtin_shufflevector(line[2], line[3], 1, 5, 3, 7);
                cells[0] = __builtin_shufflevector(low0, high0, 0, 1, 4, 5);
                cells[1] = __builtin_shufflevector(low1, high1, 0, 1, 4, 5);
                cells[2] = __builtin_shufflevector(low0, high0, 2, 3, 6, 7);
                cells[3] = __builtin_shufflevector(low1, high1, 2, 3, 6, 7);
            } else {
                low0 = __builtin_shufflevector(line[0], line[1], 0, 8, 2, 10, 4, 12, 6, 14);
                low1 = __builtin_shufflevector(line[0], line[1], 1, 9, 3, 11, 5, 13, 7, 15);
                high0 = __builtin_shufflevector(line[2], line[3], 0, 8, 2, 10, 4, 12, 6, 14);
                high1 = __builtin_shufflevector(line[2], line[3], 1, 9, 3, 11, 5, 13, 7, 15);
                cells[0] = __builtin_shufflevector(low0, high0, 0, 1, 8, 9, 4, 5, 12, 13);
                cells[1] = __builtin_shufflevector(low1, high1, 0, 1, 8, 9, 4, 5, 12, 13);
                cells[2] = __builtin_shufflevector(low0, high0, 2, 3, 10, 11, 6, 7, 14, 15);
                cells[3] = __builtin_shufflevector(low1, high1, 2, 3, 10, 11, 6, 7, 14, 15);
            }
            loadColumn(neighbourSide - 1, cells[neighbourSide - 1]);
        } else {
            for (std::size_t column = 0; column < neighbourSide; ++column)
                loadColumn(column, cells[column]);
        }
    }

    __attribute__((always_inline)) void loadColumn(std::size_t column, Doubles& cells) const {
        Doubles loaded{};
        for (std::size_t lane = 0; lane < Lanes; ++lane)
            loaded[lane] = rows[lane][column];
        cells = loaded;
    }

    // Four cells of pixel i, and with eight lanes after them those of pixel i + 4.
    __attribute__((always_inline)) void loadLine(std::size_t i, Doubles& line) const {
        typedef double Four __attribute__((vector_size(4 * sizeof(double))));
        Four four;
        std::memcpy(&four, rows[i], sizeof four);
        if constexpr (Lanes == 4) {
            line = four;
        } else {
            Four other;
            std::memcpy(&other, rows[i + 4], sizeof other);
            line = __builtin_shufflevector(four, other, 0, 1, 2, 3, 4, 5, 6, 7);
        }
    }
};

struct FillKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* data, std::size_t width, const Fill* fills,
                                                   std::size_t count) {
        constexpr std::size_t group = 2 * Lanes;
        std::size_t i = 0;
        for (; i + group <= count; i += group) {
            bool nearEnd = false;
            for (std::size_t k = i; k < i + group; ++k)
                nearEnd |= fills[k].isNearEnd();
            fetchAhead(data, width, fills + i, fills + count, group);
            if (nearEnd)
                for (std::size_t k = i; k < i + group; ++k)
                    fillOne(data, width, fills[k]);
            else
                fillGroup<Lanes>(data, width, fills + i);
        }
        for (; i < count; ++i)
            fillOne(data, width, fills[i]);
    }

    template <std::size_t Lanes>
    __attribute__((always_inline)) static void fillGroup(double* data, std::size_t width, const Fill* fills) {
        FillLanes<Lanes> a(data, width, fills);
        FillLanes<Lanes> b(data, width, fills + Lanes);
        a.template addRow<0>(width);
        b.template addRow<0>(width);
        a.template addRow<1>(width);
        b.template addRow<1>(width);
        a.template addRow<2>(width);
        b.template addRow<2>(width);
        a.template addRow<3>(width);
        b.template addRow<3>(width);
        a.template addRow<4>(width);
        b.template addRow<4>(width);
        a.store(data, fills);
        b.store(data, fills + Lanes);
    }

    // The sources of later fills: bad pixels are too irregular for the hardware prefetcher.
    __attribute__((always_inline)) static void
    fetchAhead(const double* data, std::size_t width, const Fill* fills, const Fill* end, std::size_t count) {
        constexpr std::size_t ahead = 32;
        if (fills + ahead + count > end)
            return;
        for (std::size_t k = ahead; k < ahead + count; ++k) {
            auto row = reinterpret_cast<std::uintptr_t>(data + fills[k].place()) -
                       neighbourReach * (width + 1) * sizeof(double);
            for (std::size_t y = 0; y < neighbourSide; ++y, row += width * sizeof(double)) {
                __builtin_prefetch(reinterpret_cast<const void*>(row));
                __builtin_prefetch(reinterpret_cast<const void*>(row + (neighbourSide - 1) * sizeof(double)));
            }
        }
    }
};

} // namespace

void fillPixels(double* data, std::size_t width, std::span<const Fill> fills) {
    runWidest<FillKernel>(data, width, fills.data(), fills.size());
}

} // namespace PluginOmbrel
