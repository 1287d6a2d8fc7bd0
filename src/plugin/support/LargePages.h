#pragma once

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
