#include "kernels/FlatField.h"

#include "kernels/ProcessorDispatch.h"
#include "kernels/RankSelection.h"
#include "zt/DataBuff.h"
#include "zt/Types.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace PluginOmbrel {

int FrameSum::add(zt::IMpxFrame& frame) {
    if (!sum) {
        sum.emplace(frames.createFrame(frame.width(), frame.height(), zt::DT_DOUBLE));
        if (!*sum) {
            sum.reset();
            return zt::ERR_GENERIC;
        }
        (*sum)->clear();
    }
    if ((*sum)->size() != frame.size())
        return zt::ERR_INVALID_INPUT;
    (*sum)->addFrame(&frame);
    ++count;
    return zt::ERR_NONE;
}

void FrameSum::divideByCount() {
    if (count > 1)
        (*sum)->multiplyBy(1.0 / count);
}

std::span<const double> FrameSum::pixels() const {
    zt::RefDataBuff<double> look;
    (*sum)->refData(&look, 0.0);
    return {look.data(), look.size()};
}

double medianOf(std::span<const double> values) {
    if (values.empty())
        return 0;
    const RankSelection middle = selectRank(values, (values.size() + 1) / 2);
    if (!middle.allFinite)
        return bisectMedian(values);
    // Equal values have equal bits except for zeros. If the table has no sign bit, every intermediate zero is
    // positive.
    if (middle.value == 0 && middle.anySignBit)
        return bisectMedian(values);
    return middle.value;
}

void meanOfColumns(std::span<const double> image, std::size_t height, std::span<double> columns) {
    const auto divisor = static_cast<double>(height);
    std::ranges::fill(columns, 0.0);
    for (std::size_t y = 0; y < height; ++y) {
        const double* const row = image.data() + y * columns.size();
        for (std::size_t x = 0; x < columns.size(); ++x)
            columns[x] += row[x] / divisor;
    }
}

void toCoefficients(std::span<double> flatField) {
    const double median = medianOf(flatField);
    for (double& value : flatField)
        value = value == 0 ? 0 : median / value;
}

namespace {

constexpr std::size_t lineDoubles = 8; // one cache line
// Prefetch distance. Into all levels: a factor that is read past the second level comes from memory on the
// next frame too, which takes twice as long for frames that fit there.
constexpr std::size_t aheadDoubles = 128;

// The pixels before the first one that starts a cache line: stores across two lines cost twice as much.
std::size_t pixelsBeforeLine(const double* pixels, std::size_t count) {
    const std::size_t past = reinterpret_cast<std::uintptr_t>(pixels) / sizeof(double) % lineDoubles;
    return std::min(count, (lineDoubles - past) % lineDoubles);
}

struct MultiplyKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* pixels, const double* factors, std::size_t count) {
        std::size_t i = 0;
        for (const std::size_t first = pixelsBeforeLine(pixels, count); i < first; ++i)
            pixels[i] *= factors[i];
        for (; i + lineDoubles <= count; i += lineDoubles) {
            __builtin_prefetch(ahead(pixels + i));
            __builtin_prefetch(ahead(factors + i));
            multiplyLine<Lanes>(pixels + i, factors + i);
        }
        for (; i < count; ++i)
            pixels[i] *= factors[i];
    }

    template <std::size_t Lanes>
    __attribute__((always_inline)) static void multiplyLine(double* pixels, const double* factors) {
        for (std::size_t i = 0; i < lineDoubles; i += Lanes) {
            typename Vector<Lanes>::Doubles pixel;
            typename Vector<Lanes>::Doubles factor;
            std::memcpy(&pixel, pixels + i, sizeof pixel);
            std::memcpy(&factor, factors + i, sizeof factor);
            pixel *= factor;
            std::memcpy(pixels + i, &pixel, sizeof pixel);
        }
    }

    // The address may lie past the end of the array: a prefetch is not an access.
    __attribute__((always_inline)) static const void* ahead(const double* value) {
        return reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(value) +
                                             aheadDoubles * sizeof(double));
    }
};

struct MultiplyColumnsKernel {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(std::span<double> pixels,
                                                   std::span<const double> factors) {
        for (std::size_t row = 0; row < pixels.size(); row += factors.size())
            MultiplyKernel::run<Lanes>(pixels.data() + row, factors.data(),
                                       std::min(factors.size(), pixels.size() - row));
    }
};

} // namespace

void multiplyPixels(std::span<double> pixels, std::span<const double> factors) {
    runWidest<MultiplyKernel>(pixels.data(), factors.data(), pixels.size());
}

void multiplyColumns(std::span<double> pixels, std::span<const double> factors) {
    runWidest<MultiplyColumnsKernel>(pixels, factors);
}

} // namespace PluginOmbrel
