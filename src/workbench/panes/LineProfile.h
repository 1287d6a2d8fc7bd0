#pragma once

#include "model/Image.h"
#include "panes/CurvePlot.h"

#include <QLineF>

namespace ombrel::workbench {

// The pixels that a line crosses, one sample a pixel of its length, of the nearest pixel each. Empty without
// an image; what lies outside, or is not finite, is a gap.
CurvePlot::Curve profileAlong(const QLineF& line, const ImagePtr& image);

} // namespace ombrel::workbench
