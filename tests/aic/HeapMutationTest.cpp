#include <algorithm>
#include <cstdlib>
#include <random>
#include <stdexcept>

#include "HeapFixture.h"

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

class Mutator {
public:
    explicit Mutator(unsigned seed) : random(seed) {}

    void mutate(std::string& bytes) {
        for (unsigned count = 1 + random() % 3; count > 0 && bytes.size() >= 8; --count) {
            mutateOnce(bytes);
        }
    }

private:
    void mutateOnce(std::string& bytes) {
        std::size_t place = random() % (bytes.size() - 7);
        if (random() % 16 != 0) {
            place &= ~std::size_t{2}; // seldom the upper bytes of a length
        }
        switch (random() % 6) {
        case 0:
            bytes[place] = static_cast<char>(random());
            break;
        case 1:
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << random() % 8));
            break;
        case 2: // whole numbers of the kinds that lengths stumble over, where fields stand
            overwrite(bytes, place & ~std::size_t{3});
            break;
        case 3:
            bytes.resize(place);
            break;
        case 4:
            bytes.insert(place, bytes, random() % bytes.size(), random() % 32);
            break;
        default:
            bytes.erase(place, random() % 32);
        }
    }
    void overwrite(std::string& bytes, std::size_t place) {
        static constexpr std::int32_t numbers[] = {
            0,          1,         2, -1, -3, 5, 255, 1 << 16, 1 << 20, 1 << 28, 0x7fffffff, -0x7fffffff - 1,
            0x7fc00000, 0x7f800000};
        const std::int32_t number = numbers[random() % std::size(numbers)];
        bytes.replace(place, sizeof number, reinterpret_cast<const char*>(&number), sizeof number);
    }

    std::mt19937 random;
};

// Goes everywhere a caller may go.
void walkEverywhere(Store& store) {
    Store::Position found{};
    auto result = Store::ResultOk;
    std::size_t seen = 0;
    for (store.GetFirstImage(found, &result); result == Store::ResultOk; ++seen) {
        store.GetNextImage(found, &result, true);
    }
    ASSERT_EQ(seen, store.Images.size());
    for (std::size_t start = 0; start < seen; start += 1 + seen / 16) {
        const auto from = store.Images.begin() + static_cast<std::ptrdiff_t>(start);
        for (const auto axis : {Store::ParamV, Store::ParamT, Store::ParamE}) {
            store.GetNextImage(from, found, axis, &result, true);
            ASSERT_TRUE(result != Store::ResultOk || store.hasImage(*found));
            store.GetPreviousImage(from, found, axis, &result, false);
            ASSERT_TRUE(result != Store::ResultOk || store.hasImage(*found));
        }
    }
}

class HeapMutation : public HeapFixture {};

TEST_F(HeapMutation, leavesALoadedStoreWholeOrFails) {
    const std::string intact = intactHeap().bytes;
    Mutator random(8);
    int loaded = 0;
    int refused = 0;
    for (int round = 0; round < mutationCount(); ++round) {
        SCOPED_TRACE(round);
        HeapBytes heap{intact};
        random.mutate(heap.bytes);
        Store mutated;
        writeFileText(heapPath, heap.bytes);
        int status = -1;
        try {
            status = mutated.Init(heapPath, static_cast<Store::InterpolationType>(round % 2), log);
        } catch (const std::length_error&) {
            // an image with one negative side
        }
        ++(status == 0 ? loaded : refused);
        if (status == 0) {
            ASSERT_EQ(mutated.Current, round % 2 == 0 ? mutated.Images.begin() : mutated.Images.end() - 1);
            walkEverywhere(mutated);
        }
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_GT(loaded, 0);
    EXPECT_GT(refused, 0);
}

} // namespace
