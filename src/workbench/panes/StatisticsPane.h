#pragma once

#include "panes/FrameView.h"

#include <QRect>
#include <QWidget>

#include <array>
#include <map>

class QGridLayout;
class QLabel;

namespace ombrel::workbench {

// Of the pixels of the region that are in the image.
Uniformity uniformityOf(const Image& image, const QRect& region);

// Statistics of the shown frame, raw next to corrected.
class StatisticsPane final : public QWidget {
    Q_OBJECT
public:
    explicit StatisticsPane(QWidget* parent = nullptr);

    void show(const FrameView& view);
    using QWidget::show;
    // Empty: no region is drawn.
    void setRegion(const QRect& region);

private:
    enum Row { MEAN, SPREAD, REGION_MEAN, REGION_SPREAD, PHOTONS, ZERO, NOT_FINITE, PAIRED_ROWS };

    void addRow(const QString& name, const QString& tip);
    void set(Row row, std::size_t pane, const QString& text);
    void showPane(std::size_t index, const PaneView& pane);
    void showRegion();

    QGridLayout* grid;
    std::array<std::array<QLabel*, 2>, PAIRED_ROWS> values{};
    QLabel* choice;
    QLabel* time;
    QRect region;
    std::array<ImagePtr, 2> images;
};

} // namespace ombrel::workbench
