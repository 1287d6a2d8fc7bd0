#include "HeapFixture.h"

#include <random>

namespace {

using Store = c_CalibrationImages;

// OMBREL_MUTATIONS asks for another number of mutated heaps.
int mutationCount() {
    const char* const wanted = std::getenv("OMBREL_MUTATIONS");
    return wanted == nullptr ? 500 : std::atoi(wanted);
}

// A heap with a mask, a hole, and 2 x 3 x 2 stored grid points. Its floats, shifted by two bytes and read as
// sides of an image, are too large to be believed: images of a gigabyte would take their time.
HeapBytes intactHeap() {
    HeapBytes heap;
    heap.value(4).value(1).block(3, 2, {1024, 0, 1024, 1024, 1024, 1024});
    heap.vector({1000, 2000}).vector({5000, 6000, 7000}).vector({-1000, 1000});
    for (int i = 0; i < 12; ++i) {
        const float level = 1000.0f * static_cast<float>(1 + i);
        i == 7 ? heap.hole() : heap.block(3, 2, {level, 1000, 2000, 3000, 4000, 5000});
    }
    return heap;
}

void mutate(std::string& bytes, std::mt19937& random) {
    static constexpr std::int32_t stumbles[] = {0,       1,       2,       -1,         -3,
                                                1 << 16, 1 << 20, 1 << 28, 0x7fffffff, -0x7fffffff - 1};
    const std::size_t place = random() % (bytes.size() - 7) & ~std::size_t{3}; // where fields begin
    switch (random() % 4) {
    case 0:
        bytes[place + random() % 2] = static_cast<char>(random());
        break;
    case 1:
        bytes.replace(place, 4, reinterpret_cast<const char*>(&stumbles[random() % std::size(stumbles)]), 4);
        break;
    case 2:
        bytes.insert(place, bytes, random() % bytes.size(), random() % 32);
        break;
    default:
        bytes.erase(place, random() % 32);
    }
}

// Goes everywhere a caller may go.
void walkEverywhere(Store& store) {
    Store::Position found{};
    auto result = Store::ResultOk;
    std::size_t seen = 0;
    for (store.GetFirstImage(found, &result); result == Store::ResultOk; ++seen)
        store.GetNextImage(found, &result, true);
    ASSERT_EQ(seen, store.Images.size());
    for (std::size_t start = 0; start < seen; start += 1 + seen / 16) {
        const auto from = store.Images.begin() + static_cast<std::ptrdiff_t>(start);
        for (const auto axis : {Store::ParamV, Store::ParamT, Store::ParamE}) {
            store.GetNextImage(from, found, axis, &result, true);
            ASSERT_TRUE(result != Store::ResultOk || store.hasImage(*found));
        }
    }
}

class HeapMutation : public HeapFixture {};

TEST_F(HeapMutation, LeavesALoadedStoreWholeOrFails) {
    std::mt19937 random(8);
    int loaded = 0;
    for (int round = 0; round < mutationCount(); ++round) {
        SCOPED_TRACE(round);
        HeapBytes heap = intactHeap();
        for (unsigned count = 1 + random() % 3; count > 0; --count)
            mutate(heap.bytes, random);
        try {
            if (load(heap, round % 2) == 0) {
                ++loaded;
                walkEverywhere(store);
            }
        } catch (const std::length_error&) {
            // an image with one negative side
        }
        if (HasFatalFailure())
            return;
    }
    EXPECT_GT(loaded, mutationCount() / 10);
    EXPECT_LT(loaded, mutationCount());
}

} // namespace
