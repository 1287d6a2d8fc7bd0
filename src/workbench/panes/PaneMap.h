#pragma once

#include "model/Image.h"

#include <QImage>
#include <QRectF>
#include <QSize>

#include <memory>

class QCPColorMapData;

namespace ombrel::workbench {

// The part of a frame that a pane shows. Pixel (x, y) covers the square from (x, y) to (x + 1, y + 1).
struct MapView {
    QRectF visible;             // in pixels of the frame; empty: the whole frame
    QSize screen;               // pixels of the pane; empty: full resolution
    bool marks = false;         // mark negative pixels, those that are not finite, and those with faults
    bool signalToNoise = false; // in place of the difference

    bool operator==(const MapView&) const = default;
};

struct DeleteMapData {
    void operator()(QCPColorMapData* data) const;
};

// Data for a colour map, which takes ownership.
struct PaneMap {
    std::unique_ptr<QCPColorMapData, DeleteMapData> data;
    QImage marks; // over the same area, transparent except for the marks; null without marks
    QRectF area;  // in pixels of the frame
};

// If the frame has more pixels than the screen, several become one cell with their mean; the cell is marked
// when any of them is. Without `marksNegative`, for differences, only values that are not finite are marked.
PaneMap makePaneMap(const Image& image, const MapView& view, bool marksNegative = true,
                    const FaultsPtr& faults = {});

} // namespace ombrel::workbench
