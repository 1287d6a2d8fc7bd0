#include "frame/FramePool.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

namespace ombrel {

namespace {

constexpr std::size_t cacheLine = 64;
constexpr std::size_t largePage = std::size_t{2} << 20;

// Four frames of 4096 x 4096 doubles; thousands of small ones.
constexpr std::size_t sharedBound = std::size_t{512} << 20;

std::align_val_t alignmentOf(std::size_t bytes) {
    return std::align_val_t{bytes < 2 * largePage ? cacheLine : largePage};
}

// Large blocks use huge pages if the system has them: filters stream through many blocks in parallel.
std::byte* newBlock(std::size_t bytes) {
    void* const block = ::operator new(bytes, alignmentOf(bytes));
    if (bytes >= 2 * largePage)
        madvise(block, bytes, MADV_HUGEPAGE);
    return static_cast<std::byte*>(block);
}

void freeBlock(std::byte* block, std::size_t bytes) {
    ::operator delete(block, alignmentOf(bytes));
}

} // namespace

FramePool& FramePool::shared() {
    // Never destroyed: static objects may hold frames after the end of main().
    static FramePool* const pool = new FramePool(sharedBound);
    return *pool;
}

FramePool::~FramePool() {
    for (const Idle& entry : idle) {
        ASAN_UNPOISON_MEMORY_REGION(entry.block, entry.bytes);
        freeBlock(entry.block, entry.bytes);
    }
}

FramePool::Block FramePool::take(std::size_t bytes) {
    std::byte* block = takeIdle(bytes);
    if (!block)
        block = newBlock(bytes);
    return Block(block, GiveBack{this, bytes});
}

std::size_t FramePool::idleBytes() const {
    const std::lock_guard lock(mutex);
    return total;
}

std::byte* FramePool::takeIdle(std::size_t bytes) {
    const std::lock_guard lock(mutex);
    // Search from the back: the block freed last is most likely still in the cache.
    const auto found =
        std::find_if(idle.rbegin(), idle.rend(), [&](const Idle& entry) { return entry.bytes == bytes; });
    if (found == idle.rend())
        return nullptr;
    std::byte* const block = found->block;
    idle.erase(std::next(found).base());
    total -= bytes;
    ASAN_UNPOISON_MEMORY_REGION(block, bytes);
    return block;
}

void FramePool::giveBack(Idle block) noexcept {
    std::unique_lock lock(mutex);
    try {
        idle.push_back(block);
    } catch (const std::bad_alloc&) {
        freeBlock(block.block, block.bytes);
        return;
    }
    total += block.bytes;
    ASAN_POISON_MEMORY_REGION(block.block, block.bytes);
    while (total > bound) {
        const Idle oldest = idle.front();
        idle.pop_front();
        total -= oldest.bytes;
        ASAN_UNPOISON_MEMORY_REGION(oldest.block, oldest.bytes);
        freeBlock(oldest.block, oldest.bytes);
    }
}

} // namespace ombrel
