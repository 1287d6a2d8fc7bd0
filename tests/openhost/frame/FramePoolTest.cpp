#include "frame/FramePool.h"

#include "fixtures/Testing.h"

#include <thread>

using ombrel::FramePool;

TEST(FramePool, HandsOutABlockOfTheSameSizeAgain) {
    FramePool pool(10000);
    FramePool::Block block = pool.take(1000);
    const std::byte* const address = block.get();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(address) % 64, 0u);
    block.reset();
    EXPECT_EQ(pool.idleBytes(), 1000u);
    const FramePool::Block other = pool.take(999);
    EXPECT_NE(other.get(), address);
    EXPECT_EQ(pool.take(1000).get(), address);
}

TEST(FramePool, KeepsToItsBoundByLettingGoWhatIsIdleForLongest) {
    FramePool pool(2500);
    {
        const FramePool::Block a = pool.take(1000);
        const FramePool::Block b = pool.take(1001);
        const FramePool::Block c = pool.take(1002); // given back first, as the last that was made
    }
    EXPECT_EQ(pool.idleBytes(), 2001u);
    pool.take(5000).reset(); // above the bound by itself
    EXPECT_LE(pool.idleBytes(), 2500u);
}

TEST(FramePool, NeverHandsOutOneBlockTwiceAtATime) {
    FramePool pool(4000);
    const auto work = [&](std::byte mark) {
        for (int round = 0; round < 2000; ++round) {
            const FramePool::Block block = pool.take(500);
            std::fill_n(block.get(), 500, mark);
            std::this_thread::yield();
            ASSERT_EQ(std::count(block.get(), block.get() + 500, mark), 500);
        }
    };
    std::vector<std::jthread> threads;
    for (int i = 1; i <= 4; ++i)
        threads.emplace_back(work, std::byte(i));
}
