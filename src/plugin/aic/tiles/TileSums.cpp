#include "tiles/TileSums.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

MaskRows::MaskRows(const TileOrder& order, std::span<const AICImage* const> masks) {
    const auto cols = static_cast<std::size_t>(order.cols);
    std::vector<float> row(cols);
    std::vector<float> above;
    std::vector<std::size_t> offsets;
    for (std::size_t y = 0; y < static_cast<std::size_t>(order.rows); ++y) {
        std::ranges::fill(row, 1.0f);
        for (const AICImage* mask : masks) {
            const std::span<const float> pixels = mask->pixels().subspan(y * cols, cols);
            std::ranges::transform(row, pixels, row.begin(), std::multiplies<>{});
        }
        if (row != above) { // a row with NaN never equals another
            offsets.push_back(factors.size());
            factors.resize(factors.size() + order.rowSize(), 0.0f);
            order.arrangeRow(row.data(), &factors[offsets.back()]);
            binary = binary && std::ranges::all_of(row, [](float f) { return f == 0 || f == 1; });
            for (const float factor : row)
                largest = std::isnan(largest) || largest > std::fabs(factor) ? largest : std::fabs(factor);
            above = row;
        } else {
            offsets.push_back(offsets.back());
        }
    }
    for (const std::size_t offset : offsets)
        starts.push_back(factors.data() + offset);
}

namespace {

std::vector<const AICImage*> present(std::initializer_list<const AICImage*> masks) {
    std::vector<const AICImage*> found;
    std::ranges::copy_if(masks, std::back_inserter(found),
                         [](const AICImage* mask) { return mask != nullptr; });
    return found;
}

// A row in tile order: all bits set where the filter's window is inside the image, else 0.
AlignedVector<std::int32_t> insideColumns(const TileOrder& order, int half) {
    AlignedVector<std::int32_t> inside(order.rowSize(), 0);
    for (int x = half; x < order.cols - half; ++x)
        inside[order.place(x)] = -1;
    return inside;
}

// The most memory that the kernel needs: totals, and a ring of rows for each candidate.
std::size_t workSize(const TileOrder& order, int half, int lanes) {
    const int vectors = (order.tilesUsed + lanes - 1) / lanes;
    const int ringRows = 2 * half + 3;
    const auto perLane = static_cast<std::size_t>(2 + ringRows * (order.tile + 2 * half));
    return perLane * static_cast<std::size_t>(vectors * lanes * TilePass::maxCandidates);
}

constexpr std::int32_t infinityBits = std::bit_cast<std::int32_t>(std::numeric_limits<float>::infinity());

} // namespace

bool TileSums::serves(int cols, int rows, int tile, const HighPass& highPass) {
    const bool kernelFits = highPass.complete() && (highPass.half() == 1 || highPass.half() == 2);
    return kernelFits && tile >= highPass.half() && cols >= tile && rows >= tile;
}

TileSums::TileSums(const TileOrder& order, const HighPass& highPass, const QualityMasks& masks,
                   const Kernels& kernels)
    : tileOrder(order), taps(highPass), loops(narrowedKernels(kernels, order.groupTiles)),
      centre(highPass.centre()), customRows(order, present({masks.custom})),
      borderRows(order, present({masks.border})), productRows(order, present({masks.custom, masks.border})),
      inside(insideColumns(order, highPass.half())), ones(order.rowSize(), 1.0f),
      work(workSize(order, highPass.half(), loops.lanes), 0.0f) {}

void TileSums::setFrame(std::span<const float> pixels) {
    frame = pixels;
    frameMagnitudes = loops.magnitudeBits(pixels.data(), pixels.size());
    plainFrame.current = false;
    maskedFrame.current = false;
}

void TileSums::sum(std::span<const OrderedImage> images, std::span<float* const> sums) {
    if (std::ranges::all_of(images, [&](const OrderedImage& image) { return staysFinite(image); })) {
        run(images, sums, true);
        return;
    }
    for (std::size_t i = 0; i < images.size(); ++i)
        run(images.subspan(i, 1), sums.subspan(i, 1), staysFinite(images[i]));
}

void TileSums::sumFrame(float* sums) {
    const std::int32_t one = std::bit_cast<std::int32_t>(1.0f);
    const std::array images = {OrderedImage{ones.data(), 0, {one, one}}};
    run(images, std::array{sums}, staysFinite(images[0]));
}

bool TileSums::staysFinite(const OrderedImage& image) const {
    if (frameMagnitudes.highest >= infinityBits || image.magnitudes.highest > infinityBits)
        return false;
    const double brightest = std::bit_cast<float>(frameMagnitudes.highest);
    const double darkest = std::bit_cast<float>(image.magnitudes.lowest);
    // Masks multiply one after the other: if the first overflows to infinity, a 0 of the second makes it NaN.
    const double mask =
        std::max(customRows.largestMagnitude(), 1.0) * std::max(borderRows.largestMagnitude(), 1.0);
    constexpr double rounding = 1.001; // far more than the combined rounding of all steps
    return brightest / darkest * mask * taps.sumOfMagnitudes() * rounding < std::numeric_limits<float>::max();
}

void TileSums::run(std::span<const OrderedImage> images, std::span<float* const> sums, bool finite) {
    const bool light = finite && (taps.isCross() || taps.isRing());
    // Factors of 0 and 1 can be applied to the frame beforehand.
    const bool masksInFrame = light && productRows.isBinary();

    TilePass pass = {};
    pass.rows = tileOrder.rows;
    pass.tile = tileOrder.tile;
    pass.tilesAcross = tileOrder.tilesAcross;
    pass.tilesDown = tileOrder.tilesDown;
    pass.tilesUsed = tileOrder.tilesUsed;
    pass.groupTiles = tileOrder.groupTiles;
    pass.rowSize = static_cast<std::ptrdiff_t>(tileOrder.rowSize());
    pass.inside = inside.data();
    if (light) {
        pass.shape = taps.isCross() ? TapShape::Cross : TapShape::Ring;
        pass.taps = &centre;
        pass.masks = masksInFrame ? 0 : 1;
        pass.maskRows[0] = productRows.rows();
    } else {
        pass.shape = taps.half() == 1 ? TapShape::Square3 : TapShape::Square5;
        pass.taps = taps.taps().data();
        pass.masks = 2;
        pass.maskRows[0] = customRows.rows();
        pass.maskRows[1] = borderRows.rows();
    }
    pass.frame = orderedFrame(masksInFrame);
    pass.candidates = static_cast<int>(images.size());
    pass.imageRowSize = images[0].rowSize;
    for (std::size_t i = 0; i < images.size(); ++i) {
        pass.images[i] = images[i].pixels;
        pass.sums[i] = sums[i];
    }
    pass.work = work.data();
    loops.sumTiles(pass);
}

const float* TileSums::orderedFrame(bool masked) {
    OrderedFrame& ordered = masked ? maskedFrame : plainFrame;
    if (!ordered.current) {
        const std::size_t rowSize = tileOrder.rowSize();
        ordered.pixels.resize(tileOrder.size(), 0.0f);
        for (std::size_t y = 0; y < static_cast<std::size_t>(tileOrder.rows); ++y) {
            const std::span<float> row = std::span(ordered.pixels).subspan(y * rowSize, rowSize);
            tileOrder.arrangeRow(&frame[y * static_cast<std::size_t>(tileOrder.cols)], row.data());
            if (masked)
                loops.multiply(row.data(), productRows.rows()[y], rowSize);
        }
        ordered.current = true;
    }
    return ordered.pixels.data();
}
