#include "FilterFixtures.h"

#include <new>

namespace {

thread_local std::size_t allocations = 0;

} // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

// The sanitizers' forms for arrays would not come by here.
void* operator new[](std::size_t size) {
    return operator new(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using FFFilterAllocationTest = FFFilterFixture;

TEST_F(FFFilterAllocationTest, AFrameThatIsDoubleAlreadyTakesNoMemory) {
    device.pixels().setMask(std::vector<zt::u8>{1, 0, 1, 1, 1, 1});
    filter = filterWith({1, 2, 3, 4, 5, 6});
    filter->setInterpolateBadMaskedPixels(true);
    const auto frame = frameOf({1, 2, 3, 0, 5, 6});
    const auto allocationsOfOneFrame = [&] {
        const std::size_t before = allocations;
        filter->filterReplace(frame.get());
        return allocations - before;
    };
    EXPECT_GT(allocationsOfOneFrame(), 0u); // the masks get their room
    EXPECT_EQ(allocationsOfOneFrame(), 0u);
    filter->setUseFFCoeffsForBadPixels(true);
    allocationsOfOneFrame(); // the coefficients' marks get theirs
    EXPECT_EQ(allocationsOfOneFrame(), 0u);
    filter->useTDI(true);
    EXPECT_EQ(allocationsOfOneFrame(), 0u);
    EXPECT_THAT(takeLog(), IsEmpty());
}

} // namespace
