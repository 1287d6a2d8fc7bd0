#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <utility>

// Storage of images: aligned to a cache line, and pixels that nobody gives a value stay without one. Images
// of which every pixel is about to be written need no pass of zeros before.
template <typename T>
struct PixelAllocator {
    using value_type = T;

    static constexpr std::align_val_t alignment{64};

    PixelAllocator() = default;
    template <typename U>
    PixelAllocator(const PixelAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(::operator new(count * sizeof(T), alignment));
    }
    void deallocate(T* memory, std::size_t) { ::operator delete(memory, alignment); }

    template <typename U>
    void construct(U* place) {
        ::new (static_cast<void*>(place)) U;
    }
    template <typename U, typename... Values>
    void construct(U* place, Values&&... values) {
        ::new (static_cast<void*>(place)) U(std::forward<Values>(values)...);
    }

    bool operator==(const PixelAllocator&) const { return true; }
};
