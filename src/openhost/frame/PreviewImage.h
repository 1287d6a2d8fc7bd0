#pragma once

#include "zt/Types.h"

#include <QImage>

#include <span>
#include <string>

namespace ombrel {

// The values that a grey scale shows as black and white.
struct ScaleLimits {
    double low = 0;
    double high = 1;
};

// The 0.5 and 99.5 % quantiles of the finite pixels, so that single hot or dead pixels do not rule the scale.
// Always low < high.
ScaleLimits robustLimits(std::span<const double> pixels);

// The frame in grey, one image pixel a frame pixel; what is not finite is shown in magenta.
QImage greyImage(std::span<const double> pixels, zt::u32 width, const ScaleLimits& limits);

// Two pictures side by side with a gap, small ones enlarged by a whole factor.
QImage besideEachOther(const QImage& left, const QImage& right);

// Replaces the file by the picture, in one step. Throws Error.
void writePng(const QImage& picture, const std::string& path);

} // namespace ombrel
