#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>

// Asks the system for large pages behind a big block of memory, before its first touch. Correcting a frame
// streams through many such blocks at once, and with small pages waits for address translation as long as for
// the data. What can't be had, or a system that has none, changes nothing.
inline void adviseLargePages(void* block, std::size_t bytes) {
    constexpr std::size_t worthIt = std::size_t{4} << 20;
    constexpr std::uintptr_t page = 4096;
    if (bytes < worthIt)
        return;
    const auto start = (reinterpret_cast<std::uintptr_t>(block) + page - 1) / page * page;
    const auto end = (reinterpret_cast<std::uintptr_t>(block) + bytes) / page * page;
    madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

// How many bytes to leave free before a new array of so many bytes. Big arrays all begin at the same place of
// a page, and where a loop goes through many of them side by side, their lines fight for the same few places
// of the caches: nine tables are one more than the eight lines that such a place commonly holds.
inline std::size_t cacheStagger(std::size_t bytes) {
    constexpr std::size_t worthIt = std::size_t{64} << 10;
    constexpr std::size_t cacheLine = 64;
    constexpr std::size_t linesPerPage = 64;
    constexpr std::size_t step =
        25; // shares no factor with a page's lines, and keeps any eight arrays far apart
    static std::atomic<std::size_t> arrays = 0;
    return bytes < worthIt ? 0 : arrays++ * step % linesPerPage * cacheLine;
}
