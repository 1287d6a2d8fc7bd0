#pragma once

#include "inspection/FlatInspection.h"

#include <QImage>

#include <string>
#include <vector>

namespace ombrel {

// One HTML page with the figures and pictures of all sets. It refers to no other file and needs no script.
std::string inspectionPage(const std::vector<InspectionReport>& reports);

// The mean of the good frames' thumbnails, of those that count there; empty without any.
std::vector<double> meanThumbnail(const InspectionReport& report);

// The thumbnail in grey on the scale of `mean`, the good frames' mean, with the worst tile marked if the
// frame has structure.
QImage thumbnailPicture(const InspectionReport& report, const FieldVerdict& field,
                        const std::vector<double>& mean);

// The thumbnail over the mean of the good frames, where black and white are 5 % below and above its level.
QImage ratioPicture(const FieldVerdict& field, const std::vector<double>& mean);

} // namespace ombrel
