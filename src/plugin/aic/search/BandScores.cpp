#include "search/BandScores.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr std::ptrdiff_t leastBandRows = 16; // a band divides two rows more than it sums
constexpr std::ptrdiff_t usualBands = 16;

bool isBinary(const AICImage* mask) {
    return mask == nullptr || std::ranges::all_of(
                                  mask->pixels(), [](float factor) { return factor == 0 || factor == 1; });
}

} // namespace

float darkestPixel(const float* pixels, std::size_t count, const Kernels& kernels) {
    const MagnitudeBits magnitudes = kernels.magnitudeBits(pixels, count);
    const auto infinite = std::bit_cast<std::int32_t>(std::numeric_limits<float>::infinity());
    return magnitudes.highest > infinite ? 0 : std::bit_cast<float>(magnitudes.lowest);
}

bool BandScores::serves(int cols, int rows, const HighPass& highPass, const QualityMasks& masks) {
    const bool kernelFits = highPass.complete() && (highPass.isCross() || highPass.isRing()) &&
                            highPass.centre() >= 0 && std::isfinite(highPass.centre());
    return kernelFits && cols > 2 && rows > 2 && isBinary(masks.custom) && isBinary(masks.border);
}

BandScores::BandScores(int imageCols, int imageRows, const HighPass& highPass, const QualityMasks& masks,
                       const Kernels& kernels)
    : cols(imageCols), rows(imageRows), bandRows(std::max(leastBandRows, rows / usualBands)),
      workRow((cols + 2 * BandPass::rowAlignment - 1) / BandPass::rowAlignment * BandPass::rowAlignment),
      bands(static_cast<std::size_t>((rows - 2 + bandRows - 1) / bandRows)), loops(kernels),
      shape(highPass.isCross() ? TapShape::Cross : TapShape::Ring), centre(highPass.centre()),
      magnitudes(highPass.sumOfMagnitudes()), frame(static_cast<std::size_t>(cols * rows)),
      work(static_cast<std::size_t>(BandPass::workRows * workRow + 2 * BandPass::rowAlignment), 0.0f) {
    constexpr double half = std::numeric_limits<double>::epsilon() / 2;
    rounding = (2.1 * static_cast<double>(cols * rows) + 64 + 8 * static_cast<double>(bands)) * half;
    for (const AICImage* mask : {masks.custom, masks.border}) {
        if (mask == nullptr)
            continue;
        if (factors.empty())
            factors.assign(frame.size(), 1.0f);
        loops.multiply(factors.data(), mask->pixels().data(), factors.size());
    }
}

void BandScores::setFrame(std::span<const float> pixels) {
    std::ranges::copy(pixels, frame.begin());
    brightest = std::bit_cast<float>(loops.magnitudeBits(frame.data(), frame.size()).highest);
    if (!factors.empty())
        loops.multiply(frame.data(), factors.data(), frame.size());
}

bool BandScores::staysFinite(float darkest) const {
    constexpr double room = 1.001; // far more than the combined rounding of all steps
    return brightest / static_cast<double>(darkest) * magnitudes * room < std::numeric_limits<float>::max();
}

double BandScores::sum(const float* image, std::size_t band) const {
    BandPass pass = passOf(band);
    pass.image = image;
    return loops.sumBand(pass);
}

double BandScores::least(const float* leastFactors, const float* greatestFactors, std::size_t band) const {
    BandPass pass = passOf(band);
    pass.leastFactors = leastFactors;
    pass.greatestFactors = greatestFactors;
    return loops.leastSumOfBand(pass);
}

std::optional<float> BandScores::score(double sum) const {
    const auto low = static_cast<float>(sum * (1 - rounding));
    const auto high = static_cast<float>(sum * (1 + rounding));
    return low == high ? std::optional(low) : std::nullopt;
}

BandPass BandScores::passOf(std::size_t band) const {
    BandPass pass = {};
    pass.cols = cols;
    pass.firstRow = 1 + static_cast<std::ptrdiff_t>(band) * bandRows;
    pass.endRow = std::min(pass.firstRow + bandRows, rows - 1);
    pass.frame = frame.data();
    pass.shape = shape;
    pass.centre = &centre;
    pass.work = work.data();
    pass.workRow = workRow;
    return pass;
}
