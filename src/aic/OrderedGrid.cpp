#include "aic/OrderedGrid.h"

#include "aic/Repair.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <span>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

// In large pages where the system has them: the search reads all of this for each frame.
float* allocate(std::size_t count) {
    constexpr std::size_t cacheLine = 64;
    constexpr std::size_t largePage = std::size_t{2} << 20;
    const std::size_t alignment = count * sizeof(float) < largePage ? cacheLine : largePage;
    const std::size_t size = (count * sizeof(float) + alignment - 1) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
#if defined(__linux__)
    if (alignment == largePage) {
        madvise(memory, size, MADV_HUGEPAGE);
    }
#endif
    return static_cast<float*>(memory);
}

} // namespace

void OrderedGrid::Free::operator()(float* memory) const {
    std::free(memory);
}

OrderedGrid::OrderedGrid(const TileOrder& order, const c_CalibrationImages& store, const Kernels& kernels)
    : tileOrder(order), images(store.Images.size()) {
    const auto hasImage = [&](const ImageContainer& point) { return store.hasImage(point); };
    const auto count = static_cast<std::size_t>(std::ranges::count_if(store.Images, hasImage));
    pixels.reset(allocate(count * order.size()));
    const auto cols = static_cast<std::size_t>(order.cols);
    std::vector<float> repaired(cols);
    float* next = pixels.get();
    for (std::size_t i = 0; i < images.size(); ++i) {
        if (!hasImage(store.Images[i])) {
            continue;
        }
        images[i] = {next, static_cast<std::ptrdiff_t>(order.rowSize()), {}};
        const std::span<const float> image = store.Images[i].Image.pixels();
        for (std::size_t y = 0; y < static_cast<std::size_t>(order.rows); ++y, next += order.rowSize()) {
            std::ranges::transform(image.subspan(y * cols, cols), repaired.begin(), repairedPixel);
            order.arrangeRow(repaired.data(), 1, std::span(next, order.rowSize()));
        }
        images[i].magnitudes = kernels.magnitudeBits(images[i].pixels, order.size());
    }
}
