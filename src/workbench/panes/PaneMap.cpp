#include "panes/PaneMap.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

namespace ombrel::workbench {

namespace {

constexpr QRgb notFiniteColour = qRgba(255, 0, 255, 255);
constexpr QRgb negativeColour = qRgba(0, 229, 255, 255);
constexpr QRgb faultColour = qRgba(255, 140, 0, 255);

// An area of whole pixels, divided into cells of step x step pixels.
struct Cells {
    QRect area;
    int step = 1;

    int columns() const { return (area.width() + step - 1) / step; }
    int rows() const { return (area.height() + step - 1) / step; }
};

Cells cellsOf(const Image& image, const MapView& view) {
    const QRect whole(0, 0, static_cast<int>(image.width), static_cast<int>(image.height));
    Cells cells{whole, 1};
    if (!view.visible.isEmpty()) {
        // Include the surroundings, so that moving the picture shows something immediately.
        const double dx = view.visible.width() / 2;
        const double dy = view.visible.height() / 2;
        cells.area = view.visible.adjusted(-dx, -dy, dx, dy).toAlignedRect() & whole;
        if (cells.area.isEmpty())
            cells.area = whole;
    }
    if (!view.screen.isEmpty()) {
        const QSizeF seen = view.visible.isEmpty() ? QSizeF(whole.size()) : view.visible.size();
        const double pixels =
            std::min(seen.width() / view.screen.width(), seen.height() / view.screen.height());
        cells.step = std::max(1, static_cast<int>(pixels));
    }
    return cells;
}

struct CellValue {
    double mean = 0;
    bool isNegative = false; // any pixel
    bool isFinite = true;    // all pixels
    bool isFaulty = false;   // any pixel
};

CellValue valueOf(const Image& image, const FaultsPtr& faults, const Cells& cells, int column, int row) {
    const int x0 = cells.area.x() + column * cells.step;
    const int y0 = cells.area.y() + row * cells.step;
    const int x1 = std::min(x0 + cells.step, cells.area.x() + cells.area.width());
    const int y1 = std::min(y0 + cells.step, cells.area.y() + cells.area.height());
    CellValue value;
    double sum = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) {
            const double pixel = image.at(x, y);
            sum += pixel;
            value.isNegative |= pixel < 0;
            value.isFaulty |= faults && (*faults)[static_cast<std::size_t>(y) * image.width + x] != 0;
        }
    value.mean = sum / ((x1 - x0) * (y1 - y0));
    value.isFinite = std::isfinite(value.mean);
    return value;
}

} // namespace

void DeleteMapData::operator()(QCPColorMapData* data) const {
    std::default_delete<QCPColorMapData>()(data);
}

PaneMap makePaneMap(const Image& image, const MapView& view, bool marksNegative, const FaultsPtr& faults) {
    const Cells cells = cellsOf(image, view);
    const int columns = cells.columns();
    const int rows = cells.rows();
    const double half = cells.step / 2.0;
    PaneMap map;
    map.area = QRectF(cells.area.x(), cells.area.y(), columns * cells.step, rows * cells.step);
    // Ranges extend from the centre of the first cell to that of the last.
    map.data.reset(std::make_unique<QCPColorMapData>(
                       columns, rows, QCPRange(map.area.left() + half, map.area.right() - half),
                       QCPRange(map.area.top() + half, map.area.bottom() - half))
                       .release());
    QImage marks(columns, rows, QImage::Format_ARGB32_Premultiplied);
    marks.fill(Qt::transparent);
    bool isMarked = false;
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column) {
            const CellValue value = valueOf(image, faults, cells, column, row);
            map.data->setCell(column, row, value.mean);
            const bool isNegative = value.isNegative && marksNegative;
            if (value.isFinite && !isNegative && !value.isFaulty)
                continue;
            marks.setPixel(column, row,
                           !value.isFinite ? notFiniteColour
                           : isNegative    ? negativeColour
                                           : faultColour);
            isMarked = true;
        }
    if (view.marks && isMarked)
        map.marks = marks;
    return map;
}

} // namespace ombrel::workbench
