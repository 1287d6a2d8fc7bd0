#pragma once

#include "fixtures/HeapBytes.h"
#include "fixtures/Testing.h"
#include "store/CalibrationImages.h"

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
