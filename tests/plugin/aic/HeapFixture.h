#pragma once

#include "fixtures/Testing.h"
#include "store/CalibrationImages.h"

#include <cstdint>
#include <initializer_list>

// The bytes of a heap file, put together piece by piece.
struct HeapBytes {
    template <typename T>
    HeapBytes& value(T number) {
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
        return *this;
    }
    HeapBytes& vector(const std::vector<float>& numbers) {
        value(std::uint64_t{numbers.size()});
        for (const float number : numbers)
            value(number);
        return *this;
    }
    HeapBytes& block(std::int32_t cols, std::int32_t rows, const std::vector<float>& pixels) {
        value(cols).value(rows);
        for (const float pixel : pixels)
            value(pixel);
        return *this;
    }
    // A block of 2 x 1.
    HeapBytes& pair(float first, float second) { return block(2, 1, {first, second}); }
    HeapBytes& hole() { return block(1, 1, {0}); }

    std::string bytes;
};

// Element size 16, no mask, and the three vectors; the blocks are to follow.
inline HeapBytes heapOf(const std::vector<float>& v, const std::vector<float>& t,
                        const std::vector<float>& e) {
    HeapBytes heap;
    heap.value(16).value(0).vector(v).vector(t).vector(e);
    return heap;
}

// A store that loads heaps from a file, with a log.
class HeapFixture : public ::testing::Test {
protected:
    using Store = c_CalibrationImages;

    int load(const HeapBytes& heap, int interpolation = 0) {
        writeFileText(heapPath, heap.bytes);
        return store.Init(heapPath, static_cast<Store::InterpolationType>(interpolation), log);
    }
    std::string logText() const { return fileText(logPath); }

    TemporaryFolder folder;
    std::string heapPath = folder / "heap.bin";
    std::string logPath = folder / "log.txt";
    std::ofstream log{logPath};
    Store store;
};
