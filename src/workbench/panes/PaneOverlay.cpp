#include "panes/PaneOverlay.h"

#include "panes/NewChild.h"

#include <qcustomplot.h>

namespace ombrel::workbench {

namespace {

// White within a dark halo is seen on all colours.
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
