#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace ombrel {

// Blocks of memory for the pixels of frames. A freed block is kept and reused for the next request of exactly
// its size, since the first access to new pages costs more than most filters. Thread-safe.
class FramePool {
public:
    struct GiveBack {
        FramePool* pool = nullptr;
        std::size_t bytes = 0;
        void operator()(std::byte* block) const noexcept { pool->giveBack({block, bytes}); }
    };
    // Returns to its pool, which must outlive it, when destroyed.
    using Block = std::unique_ptr<std::byte[], GiveBack>;

    // The pool of all frames of the process. It is never destroyed, so that frames may be destroyed at any
    // time.
    static FramePool& shared();

    // A pool that keeps at most `keepBytes`; above that it frees the blocks that were idle for longest.
    explicit FramePool(std::size_t keepBytes) : bound(keepBytes) {}
    ~FramePool();
    FramePool(const FramePool&) = delete;
    FramePool& operator=(const FramePool&) = delete;

    // A block of `bytes` with undefined contents, aligned to a cache line. Throws std::bad_alloc.
    Block take(std::size_t bytes);

    // Total size of the idle blocks.
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
    std::deque<Idle> idle; // those idle for longest first
    std::size_t total = 0; // bytes of all blocks in `idle`
};

} // namespace ombrel
