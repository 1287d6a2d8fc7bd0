#pragma once

#include "support/Memory.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

namespace PluginOmbrel {

// An array that knows its size. A resize keeps no contents, and new elements are not initialised; existing
// memory is reused.
template <typename T>
class Buffer {
public:
    Buffer() = default;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    void resize(std::size_t newCount) {
        if (newCount == count)
            return;
        if (room < newCount || ownerFixed)
            reallocate(newCount);
        count = newCount;
    }

    void swap(Buffer& other) noexcept {
        block.swap(other.block);
        std::swap(elements, other.elements);
        std::swap(count, other.count);
        std::swap(room, other.room);
        std::swap(ownerFixed, other.ownerFixed);
    }

    T* data() { return elements; }
    const T* data() const { return elements; }
    std::size_t size() const { return count; }
    std::size_t capacity() const { return room; }
    bool empty() const { return count == 0; }
    std::span<T> span() { return {elements, count}; }
    std::span<const T> span() const { return {elements, count}; }

    // Makes every change of size allocate again.
    bool ownerFixed = false;

private:
    // Free the old array first, so that both are never in memory together.
    void reallocate(std::size_t newCount) {
        block.reset();
        elements = nullptr;
        count = 0;
        room = 0;
        // Start on a cache line as frames do, so that a loop over both crosses no lines.
        constexpr std::size_t line = 64 / sizeof(T);
        const std::size_t before = cacheStagger(newCount * sizeof(T)) / sizeof(T);
        block = std::make_unique_for_overwrite<T[]>(line + before + newCount);
        const std::size_t past = reinterpret_cast<std::uintptr_t>(block.get()) / sizeof(T) % line;
        elements = block.get() + (line - past) + before;
        room = newCount;
        adviseLargePages(elements, newCount * sizeof(T));
    }

    std::unique_ptr<T[]> block;
    T* elements = nullptr; // in the block
    std::size_t count = 0;
    std::size_t room = 0;
};

} // namespace PluginOmbrel
