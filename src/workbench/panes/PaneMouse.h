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

// What is drawn over the picture of a frame: marked pixels, a region and a line. They stand on a picture
// only.
class PaneOverlay {
public:
    // The plot owns what is drawn.
    explicit PaneOverlay(QCustomPlot& shownPlot);

    void setOnPicture(bool isPicture);
    void setMarks(const PaneMap& map);
    // Empty: none.
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
