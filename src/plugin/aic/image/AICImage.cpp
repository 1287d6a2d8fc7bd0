#include "image/AICImage.h"

#include <algorithm>
#include <stdexcept>

namespace {

// Sides are multiplied, and indexes computed, as 32-bit integers that wrap.
int wrappedProduct(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

int quotientOfSides(int cols, int rows, int divisor) {
    if (divisor == 0)
        throw std::invalid_argument("image cannot be shaped to 0 rows or columns");
    return static_cast<int>(std::int64_t{wrappedProduct(cols, rows)} / divisor);
}

} // namespace

int AICImage::shapeSize() const {
    return wrappedProduct(imageCols, imageRows);
}

AICImage AICImage::uninitialized(int cols, int rows) {
    AICImage image;
    image.resize(cols, rows);
    return image;
}

void AICImage::resize(int newCols, int newRows) {
    const int count = wrappedProduct(newCols, newRows);
    if (count < 0)
        throw std::length_error("image with a negative number of pixels");
    values.clear(); // otherwise a larger shape would copy the old pixels to new storage
    values.resize(static_cast<std::size_t>(count));
    imageCols = newCols;
    imageRows = newRows;
}

void AICImage::release() {
    values.clear();
    imageCols = 0;
    imageRows = 0;
}

void AICImage::push_back(float value) {
    values.push_back(value);
    imageCols = static_cast<int>(std::int64_t{shapeSize()} + 1);
    imageRows = 1;
}

void AICImage::reshape_r(int newRows) {
    imageCols = quotientOfSides(imageCols, imageRows, newRows);
    imageRows = newRows;
}

void AICImage::reshape_c(int newCols) {
    imageRows = quotientOfSides(imageCols, imageRows, newCols);
    imageCols = newCols;
}

void AICImage::zeros(int newCols, int newRows) {
    resize(newCols, newRows);
    std::ranges::fill(values, 0.0f);
}

void AICImage::ones(int newCols, int newRows) {
    resize(newCols, newRows);
    std::ranges::fill(values, 1.0f);
}

void AICImage::copyTo(AICImage* target) const {
    if (target != this)
        *target = *this;
}

void AICImage::copyTo(AICImage* target, int x, int y, int w, int h) const {
    if (w < 1 || h < 1)
        return;
    // The rows of both images start at the offsets of this one.
    checkRegion(x, y, w, h, std::min(values.size(), target->values.size()));
    for (std::int64_t row = y; row < std::int64_t{y} + h && target != this; ++row) {
        const std::int64_t first = row * imageCols + x;
        std::copy_n(values.begin() + first, w, target->values.begin() + first);
    }
}

std::size_t AICImage::checkedIndex(int x, int y) const {
    const auto index =
        static_cast<std::uint32_t>(wrappedProduct(y, imageCols)) + static_cast<std::uint32_t>(x);
    // A negative index is larger than any image.
    if (static_cast<std::int32_t>(index) < 0 || index >= values.size())
        throw std::out_of_range("pixel outside the image");
    return index;
}

void AICImage::checkRegion(int x, int y, int w, int h, std::size_t pixelCount) const {
    const std::int64_t firstRow = std::int64_t{y} * imageCols + x;
    const std::int64_t lastRow = firstRow + (std::int64_t{h} - 1) * imageCols;
    const auto [lowest, highest] = std::minmax(firstRow, lastRow);
    if (lowest < 0 || highest + w > static_cast<std::int64_t>(pixelCount))
        throw std::out_of_range("region outside the image");
}
