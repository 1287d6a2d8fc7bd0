#pragma once

#include "model/Image.h"
#include "panes/PaneMap.h"

#include <QLineF>
#include <QObject>
#include <QPointF>
#include <QRect>

#include <array>

class QCustomPlot;
class QMouseEvent;

class QCPItemLine;
class QCPItemPixmap;
class QCPItemRect;
class QCustomPlot;

namespace ombrel::workbench {

// What dragging the mouse over a pane does.
enum class PaneTool { Move, Region, Line };

// Handles the mouse on the picture of a frame: reports the pixel under the cursor, and draws regions and
// lines with the selected tool, or with Shift and Ctrl under any tool. The plot itself moves the picture.
class PaneMouse final : public QObject {
    Q_OBJECT
public:
    PaneMouse(QCustomPlot& shownPlot, QObject* parent);

    void setTool(PaneTool newTool) { tool = newTool; }
    // Null disables drawing.
    void setImage(const ImagePtr& shown) { image = shown; }

signals:
    void regionDrawn(const QRect& region);
    void lineDrawn(const QLineF& line);
    // The cursor is over a pixel of the frame, or outside it.
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

// The items drawn over the picture of a frame: marked pixels, a region and a line. They are visible only
// while a picture is shown.
class PaneOverlay {
public:
    // The plot owns the items.
    explicit PaneOverlay(QCustomPlot& shownPlot);

    void setOnPicture(bool isPicture);
    void setMarks(const PaneMap& map);
    // Empty: no region.
    void setRegion(const QRect& shown);
    void setLine(const QLineF& shown);

private:
    void draw();

    QCustomPlot& plot;
    QCPItemPixmap* marks;
    std::array<QCPItemRect*, 2> regionItems{}; // the halo and the line
    std::array<QCPItemLine*, 2> lineItems{};
    QRect region;
    QLineF line;
    bool isOnPicture = false;
};

} // namespace ombrel::workbench
