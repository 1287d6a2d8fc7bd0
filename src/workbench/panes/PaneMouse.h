#pragma once

#include "model/Image.h"
#include "panes/PaneTool.h"

#include <QLineF>
#include <QObject>
#include <QPointF>
#include <QRect>

class QCustomPlot;
class QMouseEvent;

namespace ombrel::workbench {

// What the mouse does on the picture of a frame: it points at pixels, and draws regions and lines by its
// tool, or by Shift and Ctrl with any. Moving the picture is left to the plot.
class PaneMouse final : public QObject {
    Q_OBJECT
public:
    PaneMouse(QCustomPlot& shownPlot, QObject* parent);

    void setTool(PaneTool newTool) { tool = newTool; }
    // Null: there is nothing to draw on.
    void setImage(const ImagePtr& shown) { image = shown; }

signals:
    void regionDrawn(const QRect& region);
    void lineDrawn(const QLineF& line);
    // Over a pixel of the frame, or over none.
    void pointed(int x, int y);
    void pointedAway();

private:
    QPointF plotPoint(const QPointF& position) const;
    PaneTool toolFor(Qt::KeyboardModifiers modifiers) const;
    void press(QMouseEvent* event);
    void move(QMouseEvent* event);
    void release(QMouseEvent* event);
    void drag(const QPointF& to);
    bool eventFilter(QObject* watched, QEvent* event) override;

    QCustomPlot& plot;
    ImagePtr image;
    PaneTool tool = PaneTool::Move;
    PaneTool dragTool = PaneTool::Move;
    QPointF dragStart;
    bool isDragging = false;
};

} // namespace ombrel::workbench
