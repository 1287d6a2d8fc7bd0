#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace ombrel {

class Frame;

// Keeps count of the frames alive. In debug builds it knows each of them, and ends the program with one line
// on standard error when a frame is used that is dead, or freed while others hold it.
class FrameCheck {
public:
    static void born(const Frame* frame);
    static void died(const Frame* frame);
    static std::size_t aliveCount();

    // `operation` is what is being done to the frame, for the message.
    static void mustLive(const Frame* frame, const char* operation);
    static void mustBeLast(int references);
};

// Blocks of memory for the pixels of frames. A freed block is kept and handed out again to the next who asks
// for its very size, since the first touch of fresh pages costs more than most filters. Safe to use from any
// thread.
class FramePool {
public:
    struct GiveBack {
        FramePool* pool = nullptr;
        std::size_t bytes = 0;
        void operator()(std::byte* block) const noexcept { pool->giveBack({block, bytes}); }
    };
    // Goes back to its pool, which must outlive it, at the end of its life.
    using Block = std::unique_ptr<std::byte[], GiveBack>;

    // The pool of all frames of the process. It is never destroyed, so that frames may end at any time.
    static FramePool& shared();

    // A pool that keeps at most `keepBytes`; beyond that it lets go what has been idle for longest.
    explicit FramePool(std::size_t keepBytes) : bound(keepBytes) {}
    ~FramePool();
    FramePool(const FramePool&) = delete;
    FramePool& operator=(const FramePool&) = delete;

    // A block of `bytes` with undefined contents, aligned to a cache line. Throws std::bad_alloc.
    Block take(std::size_t bytes);

    // Bytes of the blocks that wait to be handed out.
    std::size_t idleBytes() const;

private:
    struct Idle {
        std::byte* block;
        std::size_t bytes;
    };

    void giveBack(Idle block) noexcept;
    std::byte* takeIdle(std::size_t bytes);

    const std::size_t bound;
    mutable std::mutex mutex;
    std::deque<Idle> idle; // the longest idle first
    std::size_t total = 0; // bytes of all in `idle`
};

} // namespace ombrel
