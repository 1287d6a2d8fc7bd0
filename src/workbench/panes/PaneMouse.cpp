#include "panes/PaneMouse.h"

#include "panes/Look.h"

#include <qcustomplot.h>

#include <cmath>

namespace ombrel::workbench {

PaneMouse::PaneMouse(QCustomPlot& shownPlot, QObject* parent) : QObject(parent), plot(shownPlot) {
    connect(&plot, &QCustomPlot::mousePress, this, &PaneMouse::press);
    connect(&plot, &QCustomPlot::mouseMove, this, &PaneMouse::move);
    connect(&plot, &QCustomPlot::mouseRelease, this, &PaneMouse::release);
    plot.installEventFilter(this);
}

QPointF PaneMouse::plotPoint(const QPointF& position) const {
    return {plot.xAxis->pixelToCoord(position.x()), plot.yAxis->pixelToCoord(position.y())};
}

PaneTool PaneMouse::toolFor(Qt::KeyboardModifiers modifiers) const {
    if (modifiers & Qt::ShiftModifier)
        return PaneTool::Region;
    return modifiers & Qt::ControlModifier ? PaneTool::Line : tool;
}

void PaneMouse::press(QMouseEvent* event) {
    dragTool = toolFor(event->modifiers());
    const bool isInside = plot.axisRect()->rect().contains(event->position().toPoint());
    plot.setInteraction(QCP::iRangeDrag, dragTool == PaneTool::Move || !isInside);
    isDragging = event->button() == Qt::LeftButton && dragTool != PaneTool::Move && isInside && image;
    dragStart = plotPoint(event->position());
}

void PaneMouse::move(QMouseEvent* event) {
    const QPointF point = plotPoint(event->position());
    if (isDragging)
        drag(point);
    const int x = static_cast<int>(std::floor(point.x()));
    const int y = static_cast<int>(std::floor(point.y()));
    if (image && image->contains(x, y))
        emit pointed(x, y);
    else
        emit pointedAway();
}

void PaneMouse::release(QMouseEvent* event) {
    if (isDragging)
        drag(plotPoint(event->position()));
    isDragging = false;
}

void PaneMouse::drag(const QPointF& to) {
    if (!image)
        return; // the image was removed while the button was down
    if (dragTool == PaneTool::Line) {
        emit lineDrawn({dragStart, to});
        return;
    }
    const QRect whole(0, 0, static_cast<int>(image->width), static_cast<int>(image->height));
    emit regionDrawn(QRectF(dragStart, to).normalized().toAlignedRect() & whole);
}

bool PaneMouse::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Leave)
        emit pointedAway();
    return QObject::eventFilter(watched, event);
}

namespace {

// White with a dark halo is visible on all colours.
const std::array<QPen, 2> drawnPens{QPen(QColor(0, 0, 0, 150), 3), QPen(Qt::white, 1)};

} // namespace

PaneOverlay::PaneOverlay(QCustomPlot& shownPlot)
    : plot(shownPlot), marks(newChild<QCPItemPixmap>(&shownPlot)) {
    marks->setScaled(true, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    marks->setVisible(false);
    for (std::size_t i = 0; i < drawnPens.size(); ++i) {
        regionItems[i] = newChild<QCPItemRect>(&plot);
        regionItems[i]->setPen(drawnPens[i]);
        lineItems[i] = newChild<QCPItemLine>(&plot);
        lineItems[i]->setPen(drawnPens[i]);
    }
    for (QCPAbstractItem* const item : plot.findChildren<QCPAbstractItem*>())
        item->setSelectable(false);
    draw();
}

void PaneOverlay::setOnPicture(bool isPicture) {
    isOnPicture = isPicture;
    draw();
}

void PaneOverlay::setMarks(const PaneMap& map) {
    marks->setVisible(!map.marks.isNull());
    if (map.marks.isNull())
        return;
    marks->setPixmap(QPixmap::fromImage(map.marks));
    marks->topLeft->setCoords(map.area.topLeft());
    marks->bottomRight->setCoords(map.area.bottomRight());
}

void PaneOverlay::setRegion(const QRect& shown) {
    region = shown;
    draw();
}

void PaneOverlay::setLine(const QLineF& shown) {
    line = shown;
    draw();
}

void PaneOverlay::draw() {
    const QRectF area(region);
    for (QCPItemRect* const item : regionItems) {
        item->setVisible(isOnPicture && !area.isEmpty());
        item->topLeft->setCoords(area.topLeft());
        item->bottomRight->setCoords(area.bottomRight());
    }
    for (QCPItemLine* const item : lineItems) {
        item->setVisible(isOnPicture && !line.isNull());
        item->start->setCoords(line.p1());
        item->end->setCoords(line.p2());
    }
    plot.replot(QCustomPlot::rpQueuedReplot);
}

} // namespace ombrel::workbench
