#include "kernels/BadPixelMask.h"

#include "kernels/ProcessorDispatch.h"
#include "zt/DataBuff.h"
#include "zt/Types.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <emmintrin.h>

namespace PluginOmbrel {

std::uint64_t marksOfFewer(const unsigned char* mask, std::size_t size) {
    std::uint64_t marks = 0;
    for (std::size_t i = 0; i < size; ++i)
        marks |= std::uint64_t{mask[i] != 0} << i;
    return marks;
}

namespace {

constexpr std::size_t group = 64;

// Any position for 0: std::countr_zero would add a branch for that case.
__attribute__((always_inline)) inline std::size_t lowestMark(std::uint64_t marks) {
    return static_cast<std::size_t>(__builtin_ctzll(marks | std::uint64_t{1} << 63));
}

// Writes positions in pairs, even for an odd number of marks: checking first would cost more.
__attribute__((always_inline)) inline std::size_t appendPlaces(std::uint64_t marks, std::size_t first,
                                                               MarkList& places, std::size_t count) {
    const std::size_t end = count + static_cast<std::size_t>(std::popcount(marks));
    do {
        for (std::size_t i = 0; i < 2; ++i) {
            places[count + i] = static_cast<std::uint16_t>(first + lowestMark(marks));
            marks &= marks - 1;
        }
        count += 2;
    } while (count < end);
    return end;
}

struct ListMarksKernel {
    template <std::size_t>
    __attribute__((always_inline)) static void run(const unsigned char* mask, std::size_t size,
                                                   MarkList* places, std::size_t* count) {
        std::size_t listed = 0;
        std::size_t i = 0;
        for (; i + group <= size; i += group)
            listed = appendPlaces(marksOfGroup(mask + i), i, *places, listed);
        *count = i == size ? listed : appendPlaces(marksOfFewer(mask + i, size - i), i, *places, listed);
    }
};

bool hasMarks(const unsigned char* mask, std::size_t size) {
    unsigned char all = 0;
    for (std::size_t i = 0; i < size; ++i)
        all |= mask[i];
    return all != 0;
}

} // namespace

std::size_t listMarks(const unsigned char* mask, std::size_t size, MarkList& places) {
    if (!hasMarks(mask, size))
        return 0;
    std::size_t count = 0;
    runVectorised<ListMarksKernel>(mask, size, &places, &count);
    return count;
}

std::size_t countMarks(const unsigned char* mask, std::size_t size) {
    std::size_t count = 0;
    for (std::size_t start = 0; start < size; start += 128) {
        // So few that their number fits into a byte: sixteen are counted at once.
        unsigned char inPiece = 0;
        const std::size_t end = std::min(size, start + 128);
        for (std::size_t i = start; i < end; ++i)
            inPiece = static_cast<unsigned char>(inPiece + (mask[i] != 0));
        count += inPiece;
    }
    return count;
}

void setMarksToOne(unsigned char* mask, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        mask[i] = mask[i] != 0;
}

namespace {

// Hands over for each word the marks of the values for which `isMarked` returns true.
template <typename T, typename IsMarked, typename Take>
struct MarksKernel {
    template <std::size_t>
    __attribute__((always_inline)) static void run(const T* values, std::size_t size,
                                                   const IsMarked* isMarked, const Take* take) {
        std::array<unsigned char, group> bytes{};
        std::size_t i = 0;
        for (; i + group <= size; i += group) {
            for (std::size_t k = 0; k < group; ++k)
                bytes[k] = (*isMarked)(values[i + k]);
            (*take)(i / group, marksOfGroup(bytes.data()));
        }
        for (std::size_t k = 0; k < size - i; ++k)
            bytes[k] = (*isMarked)(values[i + k]);
        if (i < size)
            (*take)(i / group, marksOfFewer(bytes.data(), size - i));
    }
};

template <typename T, typename IsMarked, typename Take>
void findMarks(const T* values, std::size_t size, IsMarked isMarked, Take take) {
    runVectorised<MarksKernel<T, IsMarked, Take>>(values, size, &isMarked, &take);
}

// T is the type of the frame's pixels. refData() is not const, but nothing is written.
template <typename T, typename IsZero>
void markWhere(const zt::IMpxFrame& frame, PixelBits& marks, IsZero isZero) {
    zt::RefDataBuff<T> pixels;
    const_cast<zt::IMpxFrame&>(frame).refData(&pixels, 0.0);
    const std::span<std::uint64_t> words = marks.resizedWords(frame.size());
    findMarks(pixels.data(), marks.size(), isZero,
              [=](std::size_t i, std::uint64_t word) { words[i] = word; });
}

} // namespace

void markZeroPixels(const zt::IMpxFrame& frame, PixelBits& marks) {
    const auto isZero = [](auto value) { return value == 0; };
    switch (frame.frameDataType()) {
    case zt::DT_I16:
        return markWhere<short>(frame, marks, isZero);
    case zt::DT_U32:
        return markWhere<unsigned int>(frame, marks, isZero);
    case zt::DT_DOUBLE:
        return markWhere<double>(frame, marks, isZero);
    case zt::DT_U64:
        // Read as a double, the bits are a zero with or without the sign.
        return markWhere<zt::u64>(frame, marks, [](zt::u64 bits) { return bits << 1 == 0; });
    default:
        marks.clear(frame.size());
    }
}

void addZeroValues(std::span<const double> values, PixelBits& marks) {
    const std::span<std::uint64_t> words = marks.resizedWords(marks.size());
    findMarks(
        values.data(), marks.size(), [](double value) { return value == 0; },
        [=](std::size_t i, std::uint64_t word) { words[i] |= word; });
}

void markExtremeCoefficients(std::span<const double> coefficients, double under, double over,
                             PixelBits& marks) {
    const std::span<std::uint64_t> words = marks.resizedWords(coefficients.size());
    findMarks(
        coefficients.data(), coefficients.size(),
        [=](double value) { return static_cast<bool>((value > over) | (value < under)); },
        [=](std::size_t i, std::uint64_t word) { words[i] = word; });
}

} // namespace PluginOmbrel
