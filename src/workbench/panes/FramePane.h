#pragma once

#include "panes/FrameView.h"
#include "panes/PaneMouse.h"

#include <QLabel>
#include <QString>
#include <QWidget>

#include <memory>

class QCPColorGradient;
class QCPColorMap;
class QCPColorScale;
class QCustomPlot;

namespace ombrel::workbench {

// One frame as a false-colour picture with its scale. The wheel zooms.
class FramePane final : public QWidget {
    Q_OBJECT
public:
    explicit FramePane(const QString& title, QWidget* parent = nullptr);

    // Takes over the map's data. Without an image the pane shows `hint`.
    void setPicture(const PaneView& picture, PaneMap& map, const QString& hint);
    void setTitle(const QString& title) { titleLabel->setText(title); }
    void setLimits(const ScaleLimits& limits);
    ScaleLimits limits() const;
    void setColours(const QCPColorGradient& colours);
    void setTool(PaneTool tool) { mouse->setTool(tool); }

    // Shows this part of the frame, extended to fill the pane.
    void setVisibleArea(const QRectF& area);
    // The size of the picture in screen pixels.
    QSize screenSize() const;
    // The centre of a pixel of the frame, in coordinates of the pane.
    QPoint positionOf(const QPoint& pixel) const;
    // Empty: no region.
    void showRegion(const QRect& region) { overlay->setRegion(region); }
    void showLine(const QLineF& line) { overlay->setLine(line); }
    const ImagePtr& image() const { return shownImage; }

signals:
    // Changed by the user.
    void visibleAreaChanged(const QRectF& area);
    void limitsEdited();
    void regionDrawn(const QRect& region);
    void lineDrawn(const QLineF& line);
    // The cursor is over a pixel of the frame, or outside it.
    void pointed(int x, int y);
    void pointedAway();

private:
    void layOut();
    void makePicture();
    void makeScale();
    void connectPlot();
    void rangeEdited();
    void fitArea();
    void fitAreaSoon();
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    QLabel* titleLabel;
    QCustomPlot* plot;
    QLabel* hintLabel;
    QCPColorMap* colours;
    QCPColorScale* scale;
    std::unique_ptr<PaneOverlay> overlay;
    PaneMouse* mouse;
    ImagePtr shownImage;
    QRectF visibleArea;
    bool isFitting = false; // the program is changing the ranges
};

} // namespace ombrel::workbench
