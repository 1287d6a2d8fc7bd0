#pragma once

#include "panes/FramePane.h"

#include <QTimer>
#include <QWidget>

#include <array>
#include <optional>

namespace ombrel::workbench {

// The raw frame, the corrected one and their difference side by side, over the same part of the frame.
class FramePanes final : public QWidget {
    Q_OBJECT
public:
    explicit FramePanes(QWidget* parent = nullptr);

    void show(ShownFrame& frame);
    // Until the next frame there is none.
    void clear();
    using QWidget::show;
    FramePane& pane(PaneIndex index) { return *panes[index]; }

    void setColourMap(const QString& name);
    void setTool(PaneTool tool);
    // With locked limits frames can be compared by their colours.
    void lockLimits(bool areLocked);
    void markPixels(bool areMarked);
    // What a request is to bring.
    MapView mapView() const;
    // Shows all of a frame of this size.
    void showWhole(const QSize& frameSize);
    QRect region() const { return drawnRegion; }
    void setRegion(const QRect& region);
    QLineF line() const { return drawnLine; }
    void setLine(const QLineF& line);

signals:
    // The pictures are to be made anew.
    void mapViewChanged();
    void regionChanged();
    void lineChanged();
    void limitsEdited();
    // What stands under the cursor in all panes, in one line; empty over none.
    void pointed(const QString& values);

private:
    void connectPane(FramePane& pane);
    void showArea(const QRectF& area, const FramePane* except);
    void pointAt(const std::optional<QPoint>& pixel);
    QString valuesAt(int x, int y) const;
    void resizeEvent(QResizeEvent* event) override;

    std::array<FramePane*, PANE_COUNT> panes;
    QTimer settled; // after the last of many changes
    QRectF visibleArea;
    QRect drawnRegion;
    QLineF drawnLine;
    std::optional<QPoint> pointedPixel; // its values change with the frames
    QSize frameSize;
    bool marks = false;
    bool locked = false;
};

} // namespace ombrel::workbench
