#pragma once

#include "model/Image.h"

#include <QImage>
#include <QRectF>
#include <QSize>

#include <memory>

class QCPColorMapData;

namespace ombrel::workbench {

// What a pane shows of a frame. Pixel (x, y) covers the square from (x, y) to (x + 1, y + 1).
struct MapView {
    QRectF visible;     // in pixels of the frame; empty: all of it
    QSize screen;       // pixels of the pane; empty: as many as are wanted
    bool marks = false; // negative pixels and those that are not finite are to be marked

    bool operator==(const MapView&) const = default;
};

struct DeleteMapData {
    void operator()(QCPColorMapData* data) const;
};

// Ready for a colour map, which takes the data over.
struct PaneMap {
    std::unique_ptr<QCPColorMapData, DeleteMapData> data;
    QImage marks; // over the same area, see-through but for the marks; null when there is nothing to mark
    QRectF area;  // in pixels of the frame
};

// Several pixels become one cell, their mean, where the screen has no more room. A mark on any of them shows.
// Without `marksNegative`, for pixels of either sign, only those that are not finite are marked.
PaneMap makePaneMap(const Image& image, const MapView& view, bool marksNegative = true);

} // namespace ombrel::workbench
