#include "image/AICImage.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>

namespace {

// Single loops over contiguous floats, which compilers vectorise.
template <typename Operation>
void transformInPlace(std::span<float> pixels, Operation operation) {
    for (float& pixel : pixels)
        pixel = operation(pixel);
}

template <typename Operation>
void combineInPlace(std::span<float> left, std::span<const float> right, Operation operation) {
    const std::size_t count = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < count; ++i)
        left[i] = operation(left[i], right[i]);
}

template <typename Operation>
void combine(const AICImage& a, const AICImage& b, AICImage* result, Operation operation) {
    result->resize(a.cols(), a.rows());
    const std::span<const float> left = a.pixels();
    const std::span<const float> right = b.pixels();
    const std::span<float> out = result->pixels();
    const std::size_t count = std::min({left.size(), right.size(), out.size()});
    for (std::size_t i = 0; i < count; ++i)
        out[i] = operation(left[i], right[i]);
    std::ranges::fill(out.subspan(count), 0.0f);
}

} // namespace

void AICImage::sub(AICImage other) {
    combineInPlace(values, other.values, std::minus<float>{});
}
void AICImage::add(AICImage other) {
    combineInPlace(values, other.values, std::plus<float>{});
}
void AICImage::mul(AICImage other) {
    combineInPlace(values, other.values, std::multiplies<float>{});
}
void AICImage::div(AICImage other) {
    combineInPlace(values, other.values, std::divides<float>{});
}

void AICImage::mul(float factor) {
    transformInPlace(
        values, [factor](float pixel) { return pixel * factor; });
}

void AICImage::div(float divisor) {
    transformInPlace(
        values, [divisor](float pixel) { return pixel / divisor; });
}

void AICImage::sub(AICImage a, AICImage b, AICImage* result) {
    combine(a, b, result, std::minus<float>{});
}
void AICImage::add(AICImage a, AICImage b, AICImage* result) {
    combine(a, b, result, std::plus<float>{});
}
void AICImage::mul(AICImage a, AICImage b, AICImage* result) {
    combine(a, b, result, std::multiplies<float>{});
}
void AICImage::div(AICImage a, AICImage b, AICImage* result) {
    combine(a, b, result, std::divides<float>{});
}

void AICImage::threshold_min(float threshold, float value) {
    transformInPlace(
        values, [=](float pixel) { return pixel < threshold ? value : pixel; });
}

void AICImage::threshold_max(float threshold, float value) {
    transformInPlace(
        values, [=](float pixel) { return pixel > threshold ? value : pixel; });
}

void AICImage::threshold_bin(float threshold, float value) {
    transformInPlace(
        values, [=](float pixel) { return pixel > threshold ? value : 0.0f; });
}

void AICImage::threshold_ibin(float threshold, float value) {
    transformInPlace(
        values, [=](float pixel) { return pixel < threshold ? value : 0.0f; });
}

void AICImage::abs() {
    transformInPlace(
        values, [](float pixel) { return std::fabs(pixel); });
}
