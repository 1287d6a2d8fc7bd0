#include "panes/LineProfile.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ombrel::workbench {

CurvePlot::Curve profileAlong(const QLineF& line, const ImagePtr& image) {
    CurvePlot::Curve curve;
    if (!image)
        return curve;
    const int samples = std::max(1, static_cast<int>(std::lround(line.length())));
    for (int i = 0; i < samples; ++i) {
        const QPointF point = line.pointAt((i + 0.5) / samples);
        const int x = static_cast<int>(std::floor(point.x()));
        const int y = static_cast<int>(std::floor(point.y()));
        const double value =
            image->contains(x, y) ? image->at(x, y) : std::numeric_limits<double>::quiet_NaN();
        curve.x.append(i);
        curve.y.append(std::isfinite(value) ? value : std::numeric_limits<double>::quiet_NaN());
    }
    return curve;
}

} // namespace ombrel::workbench
