#include "store/OrderedGrid.h"

#include "tiles/Kernels.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <span>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

// In large pages if the system supports them: the search reads all of this for each frame.
float* allocate(std::size_t count) {
    constexpr std::size_t cacheLine = 64;
    constexpr std::size_t largePage = std::size_t{2} << 20;
    const std::size_t alignment = count * sizeof(float) < largePage ? cacheLine : largePage;
    const std::size_t size = (count * sizeof(float) + alignment - 1) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, size);
    if (memory == nullptr)
        throw std::bad_alloc();
#if defined(__linux__)
    if (alignment == largePage)
        madvise(memory, size, MADV_HUGEPAGE);
#endif
    return static_cast<float*>(memory);
}

} // namespace

void OrderedGrid::Free::operator()(float* memory) const {
    std::free(memory);
}

OrderedGrid::OrderedGrid(const TileOrder& order, const c_CalibrationImages& store, const Kernels& kernels)
    : tileOrder(order), images(&store), places(store.Images.size()), magnitudes(store.Images.size()) {
    const auto hasImage = [&](const ImageContainer& point) { return store.hasImage(point); };
    const auto count = static_cast<std::size_t>(std::ranges::count_if(store.Images, hasImage));
    constexpr std::size_t mostPadding = 2;
    keepsAll = order.rowSize() <= mostPadding * static_cast<std::size_t>(order.cols);
    const std::size_t size = (keepsAll ? count : TilePass::maxCandidates) * order.size();
    pixels.reset(allocate(size));
    if (order.rowSize() != static_cast<std::size_t>(order.cols))
        std::ranges::fill(std::span(pixels.get(), size), 1.0f);
    std::size_t next = 0;
    for (std::size_t i = 0; i < store.Images.size(); ++i) {
        if (hasImage(store.Images[i])) {
            places[i] = next;
            arrange(store.Images[i].Image.pixels(), &pixels[next]);
            magnitudes[i] = kernels.magnitudeBits(&pixels[next], order.size());
            next += keepsAll ? order.size() : 0;
        }
    }
}

OrderedImage OrderedGrid::image(std::size_t index, std::size_t slot) {
    float* const place = &pixels[keepsAll ? places[index] : slot * tileOrder.size()];
    if (!keepsAll)
        arrange(images->Images[index].Image.pixels(), place);
    return {place, static_cast<std::ptrdiff_t>(tileOrder.rowSize()), magnitudes[index]};
}

void OrderedGrid::arrange(std::span<const float> image, float* ordered) const {
    const auto cols = static_cast<std::size_t>(tileOrder.cols);
    const std::size_t rowSize = tileOrder.rowSize();
    std::vector<float> repaired(cols);
    for (std::size_t y = 0; y < static_cast<std::size_t>(tileOrder.rows); ++y, ordered += rowSize) {
        std::ranges::transform(image.subspan(y * cols, cols), repaired.begin(), repairedPixel);
        tileOrder.arrangeRow(repaired.data(), ordered);
    }
}
