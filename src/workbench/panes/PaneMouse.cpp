#include "panes/PaneMouse.h"

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
        return; // it went while the button was down
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

} // namespace ombrel::workbench
