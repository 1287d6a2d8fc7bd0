#pragma once

#include "workbench/FrameView.h"
#include "workbench/PaneTool.h"

#include <QLineF>
#include <QRect>
#include <QString>
#include <QWidget>

#include <array>

class QCPColorGradient;
class QCPColorMap;
class QCPColorScale;
class QCPItemLine;
class QCPItemPixmap;
class QCPItemRect;
class QCustomPlot;
class QLabel;
class QMouseEvent;

namespace ombrel::workbench {

// One frame as a picture in colours, with the scale beside it. The wheel zooms.
class FramePane final : public QWidget {
    Q_OBJECT
public:
    explicit FramePane(const QString& title, QWidget* parent = nullptr);

    // Takes over the map's data. Without an image the pane says `hint`.
    void setPicture(const PaneView& picture, PaneMap& map, const QString& hint);
    void setLimits(const ScaleLimits& limits);
    ScaleLimits limits() const;
    void setColours(const QCPColorGradient& colours);
    void setTool(PaneTool newTool) { tool = newTool; }
    // A few words beside the title.
    void setNote(const QString& note);

    // Shows this part of the frame, and as much more as the pane has room for.
    void setVisibleArea(const QRectF& area);
    // Screen pixels that the picture has.
    QSize screenSize() const;
    // The middle of a pixel of the frame, in the pane.
    QPoint positionOf(const QPoint& pixel) const;
    // Empty: none. They stand on a picture only.
    void showRegion(const QRect& region);
    void showLine(const QLineF& line);
    const ImagePtr& image() const { return shownImage; }

signals:
    // By the user.
    void visibleAreaChanged(const QRectF& area);
    void limitsEdited();
    void regionDrawn(const QRect& region);
    void lineDrawn(const QLineF& line);
    // Over a pixel of the frame, or over none.
    void pointed(int x, int y);
    void pointedAway();

private:
    void makePlot();
    void makeItems();
    void drawItems();
    void connectPlot();
    QPointF plotPoint(const QPointF& position) const;
    void pressed(QMouseEvent* event);
    void moved(QMouseEvent* event);
    void released(QMouseEvent* event);
    void drag(const QPointF& to);
    void rangeEdited();
    void fitArea();
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    QCustomPlot* plot;
    QLabel* noteLabel;
    QLabel* hintLabel;
    QCPColorMap* colours = nullptr;
    QCPColorScale* scale = nullptr;
    QCPItemPixmap* marks = nullptr;
    std::array<QCPItemRect*, 2> regionItems{}; // the halo and the line
    std::array<QCPItemLine*, 2> lineItems{};
    QRect shownRegion;
    QLineF shownLine;
    ImagePtr shownImage;
    QRectF visibleArea;
    PaneTool tool = PaneTool::Move;
    PaneTool dragTool = PaneTool::Move;
    QPointF dragStart;
    bool isDragging = false;
    bool isFitting = false; // ranges change by the program
};

} // namespace ombrel::workbench
