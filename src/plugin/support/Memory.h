#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>

// Requests large pages for a big block of memory, before its first use. Correcting a frame streams through
// many such blocks at once, and with small pages waits for address translation as long as for the data.
// Without support from the system nothing changes.
inline void adviseLargePages(void* block, std::size_t bytes) {
    constexpr std::size_t worthIt = std::size_t{4} << 20;
    constexpr std::uintptr_t page = 4096;
    if (bytes < worthIt)
        return;
    const auto start = (reinterpret_cast<std::uintptr_t>(block) + page - 1) / page * page;
    const auto end = (reinterpret_cast<std::uintptr_t>(block) + bytes) / page * page;
    madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

// How many bytes to leave free before a new array of that many bytes. Big arrays all start at the same offset
// of a page, and a loop over many of them side by side needs their lines in the same few cache sets: nine
// tables are one more than the eight lines that a set commonly holds.
inline std::size_t cacheStagger(std::size_t bytes) {
    constexpr std::size_t worthIt = std::size_t{64} << 10;
    constexpr std::size_t cacheLine = 64;
    constexpr std::size_t linesPerPage = 64;
    constexpr std::size_t step =
        25; // shares no factor with a page's lines, and keeps any eight arrays far apart
    static std::atomic<std::size_t> arrays = 0;
    return bytes < worthIt ? 0 : arrays++ * step % linesPerPage * cacheLine;
}
