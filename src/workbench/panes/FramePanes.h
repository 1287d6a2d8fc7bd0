#pragma once

#include "panes/FramePane.h"

#include <QTimer>
#include <QWidget>

#include <array>
#include <optional>

namespace ombrel::workbench {

// The raw frame, the corrected one and their difference side by side, all showing the same area.
class FramePanes final : public QWidget {
    Q_OBJECT
public:
    explicit FramePanes(QWidget* parent = nullptr);

    void show(ShownFrame& frame);
    // Shows no pictures until the next frame.
    void clear();
    using QWidget::show;
    FramePane& pane(PaneIndex index) { return *panes[index]; }

    void setColourMap(const QString& name);
    void setTool(PaneTool tool);
    // With locked limits the colours of different frames are comparable.
    void lockLimits(bool areLocked);
    void markPixels(bool areMarked);
    // In place of the difference.
    void showSignalToNoise(bool isShown);
    // The view to use in the next request.
    MapView mapView() const;
    // Shows the whole frame, which has this size.
    void showWhole(const QSize& frameSize);
    QRect region() const { return drawnRegion; }
    void setRegion(const QRect& region);
    QLineF line() const { return drawnLine; }
    void setLine(const QLineF& line);

signals:
    // New pictures must be requested.
    void mapViewChanged();
    void regionChanged();
    void lineChanged();
    void limitsEdited();
    // The values under the cursor in all panes, in one line; empty outside the frame.
    void pointed(const QString& values);

private:
    void connectPane(FramePane& pane);
    // Of the third pane. Returns whether that has changed.
    bool setThirdPane(bool isSignalToNoise);
    void showArea(const QRectF& area, const FramePane* except);
    void pointAt(const std::optional<QPoint>& pixel);
    QString valuesAt(int x, int y) const;
    void resizeEvent(QResizeEvent* event) override;

    std::array<FramePane*, PANE_COUNT> panes;
    QTimer settled; // fires after the last of several changes
    QRectF visibleArea;
    QRect drawnRegion;
    QLineF drawnLine;
    std::optional<QPoint> pointedPixel; // kept because its values change with the frames
    QSize frameSize;
    FaultsPtr faults;
    ImagePtr sigma;
    bool marks = false;
    bool wantsSignalToNoise = false;
    bool showsSignalToNoise = false;
    QString colourMapName;
    bool locked = false;
};

} // namespace ombrel::workbench
