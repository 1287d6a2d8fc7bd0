#include "workbench/FramePane.h"

#include "workbench/DimText.h"
#include "workbench/NewChild.h"
#include "workbench/PlotLook.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <qcustomplot.h>

#include <algorithm>

namespace ombrel::workbench {

namespace {

constexpr double zoomStep = 0.8;

// White within a dark halo is seen on all colours.
const std::array<QPen, 2> drawnPens{QPen(QColor(0, 0, 0, 150), 3), QPen(Qt::white, 1)};

QLabel* titleLabel(const QString& title) {
    auto* const label = newChild<QLabel>(title);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

} // namespace

FramePane::FramePane(const QString& title, QWidget* parent)
    : QWidget(parent), plot(newChild<QCustomPlot>(this)), noteLabel(newChild<QLabel>()),
      hintLabel(newChild<QLabel>(plot)) {
    auto* const head = newChild<QHBoxLayout>();
    head->addWidget(titleLabel(title));
    head->addWidget(noteLabel, 1, Qt::AlignRight);
    noteLabel->setTextFormat(Qt::PlainText);
    dimText(*noteLabel);
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins(4, 2, 4, 2);
    layout->setSpacing(2);
    layout->addLayout(head);
    layout->addWidget(plot, 1);

    hintLabel->setObjectName("lbHint");
    hintLabel->setAlignment(Qt::AlignCenter);
    hintLabel->setWordWrap(true);
    hintLabel->setTextFormat(Qt::PlainText);
    hintLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    makePlot();
    makeItems();
    connectPlot();
}

void FramePane::makePlot() {
    fitToPalette(*plot);
    plot->setMinimumSize(160, 140);
    plot->setInteractions(QCP::iRangeZoom);
    plot->axisRect()->setupFullAxesBox(false);
    for (QCPAxis* const axis : plot->axisRect()->axes()) {
        axis->setTickLabels(false);
        axis->setTicks(false);
        axis->grid()->setVisible(false);
    }
    plot->yAxis->setRangeReversed(true); // row 0 is at the top
    plot->axisRect()->setRangeZoomFactor(zoomStep);

    colours = newChild<QCPColorMap>(plot->xAxis, plot->yAxis);
    colours->setInterpolate(false);
    colours->setTightBoundary(false);
    scale = newChild<QCPColorScale>(plot);
    scale->setType(QCPAxis::atBottom); // pictures are limited by their width
    plot->plotLayout()->addElement(1, 0, scale);
    plot->plotLayout()->setRowSpacing(0);
    scale->setBarWidth(10);
    scale->setRangeDrag(true);
    scale->setRangeZoom(true);
    colours->setColorScale(scale);
    for (QCPAxis* const axis : plot->findChildren<QCPAxis*>()) {
        axis->setTickLabelColor(palette().color(QPalette::WindowText));
        axis->setTickLabelFont(plot->xAxis->tickLabelFont());
        axis->setBasePen(plot->xAxis->basePen());
        axis->setTickPen(plot->xAxis->basePen());
        axis->setSubTicks(false);
    }
    auto* const margins = newChild<QCPMarginGroup>(plot);
    plot->axisRect()->setMarginGroup(QCP::msLeft | QCP::msRight, margins);
    scale->setMarginGroup(QCP::msLeft | QCP::msRight, margins);
    plot->axisRect()->setMinimumMargins({2, 2, 2, 2});
}

void FramePane::makeItems() {
    marks = newChild<QCPItemPixmap>(plot);
    marks->setScaled(true, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    marks->setVisible(false);
    for (std::size_t i = 0; i < drawnPens.size(); ++i) {
        regionItems[i] = newChild<QCPItemRect>(plot);
        regionItems[i]->setPen(drawnPens[i]);
        lineItems[i] = newChild<QCPItemLine>(plot);
        lineItems[i]->setPen(drawnPens[i]);
    }
    for (QCPAbstractItem* const item : plot->findChildren<QCPAbstractItem*>())
        item->setSelectable(false);
    drawItems();
}

void FramePane::connectPlot() {
    connect(plot, &QCustomPlot::mousePress, this, &FramePane::pressed);
    connect(plot, &QCustomPlot::mouseMove, this, &FramePane::moved);
    connect(plot, &QCustomPlot::mouseRelease, this, &FramePane::released);
    const auto ranged = QOverload<const QCPRange&>::of(&QCPAxis::rangeChanged);
    connect(plot->xAxis, ranged, this, &FramePane::rangeEdited);
    connect(plot->yAxis, ranged, this, &FramePane::rangeEdited);
    connect(scale, &QCPColorScale::dataRangeChanged, this, [this] {
        if (!isFitting)
            emit limitsEdited();
    });
    plot->installEventFilter(this);
}

void FramePane::setPicture(const PaneView& picture, PaneMap& map, const QString& hint) {
    shownImage = picture.image;
    hintLabel->setText(shownImage ? QString() : hint);
    hintLabel->setVisible(!shownImage);
    colours->setVisible(shownImage != nullptr);
    scale->setVisible(shownImage != nullptr);
    marks->setVisible(shownImage && !map.marks.isNull());
    if (map.data)
        colours->setData(map.data.release());
    if (!map.marks.isNull()) {
        marks->setPixmap(QPixmap::fromImage(map.marks));
        marks->topLeft->setCoords(map.area.topLeft());
        marks->bottomRight->setCoords(map.area.bottomRight());
    }
    drawItems();
}

void FramePane::setLimits(const ScaleLimits& limits) {
    isFitting = true;
    scale->setDataRange({limits.low, limits.high});
    isFitting = false;
    plot->replot(QCustomPlot::rpQueuedReplot);
}

ScaleLimits FramePane::limits() const {
    return {scale->dataRange().lower, scale->dataRange().upper};
}

void FramePane::setColours(const QCPColorGradient& gradient) {
    scale->setGradient(gradient);
    plot->replot(QCustomPlot::rpQueuedReplot);
}

void FramePane::setNote(const QString& note) {
    noteLabel->setText(note);
}

QSize FramePane::screenSize() const {
    return plot->axisRect()->size() * devicePixelRatio();
}

void FramePane::setVisibleArea(const QRectF& area) {
    visibleArea = area;
    fitArea();
}

// One scale for both axes.
void FramePane::fitArea() {
    const QSize size = plot->axisRect()->size();
    if (visibleArea.isEmpty() || size.isEmpty())
        return;
    const double perPixel =
        std::max(visibleArea.width() / size.width(), visibleArea.height() / size.height());
    const QPointF centre = visibleArea.center();
    isFitting = true;
    plot->xAxis->setRange(centre.x(), perPixel * size.width(), Qt::AlignCenter);
    plot->yAxis->setRange(centre.y(), perPixel * size.height(), Qt::AlignCenter);
    isFitting = false;
    plot->replot(QCustomPlot::rpQueuedReplot);
}

void FramePane::rangeEdited() {
    if (isFitting)
        return;
    const QCPRange x = plot->xAxis->range();
    const QCPRange y = plot->yAxis->range();
    visibleArea = QRectF(x.lower, y.lower, x.size(), y.size());
    emit visibleAreaChanged(visibleArea);
}

void FramePane::showRegion(const QRect& region) {
    shownRegion = region;
    drawItems();
}

void FramePane::showLine(const QLineF& line) {
    shownLine = line;
    drawItems();
}

void FramePane::drawItems() {
    const QRectF region(shownRegion);
    for (QCPItemRect* const item : regionItems) {
        item->setVisible(shownImage && !region.isEmpty());
        item->topLeft->setCoords(region.topLeft());
        item->bottomRight->setCoords(region.bottomRight());
    }
    for (QCPItemLine* const item : lineItems) {
        item->setVisible(shownImage && !shownLine.isNull());
        item->start->setCoords(shownLine.p1());
        item->end->setCoords(shownLine.p2());
    }
    plot->replot(QCustomPlot::rpQueuedReplot);
}

QPointF FramePane::plotPoint(const QPointF& position) const {
    return {plot->xAxis->pixelToCoord(position.x()), plot->yAxis->pixelToCoord(position.y())};
}

QPoint FramePane::positionOf(const QPoint& pixel) const {
    const QPointF position(plot->xAxis->coordToPixel(pixel.x() + 0.5),
                           plot->yAxis->coordToPixel(pixel.y() + 0.5));
    return plot->mapTo(this, position.toPoint());
}

void FramePane::pressed(QMouseEvent* event) {
    dragTool = tool;
    if (event->modifiers() & Qt::ShiftModifier)
        dragTool = PaneTool::Region;
    else if (event->modifiers() & Qt::ControlModifier)
        dragTool = PaneTool::Line;
    const bool isInside = plot->axisRect()->rect().contains(event->position().toPoint());
    plot->setInteraction(QCP::iRangeDrag, dragTool == PaneTool::Move || !isInside);
    isDragging = event->button() == Qt::LeftButton && dragTool != PaneTool::Move && isInside && shownImage;
    dragStart = plotPoint(event->position());
}

void FramePane::moved(QMouseEvent* event) {
    const QPointF point = plotPoint(event->position());
    if (isDragging)
        drag(point);
    const int x = static_cast<int>(std::floor(point.x()));
    const int y = static_cast<int>(std::floor(point.y()));
    if (shownImage && shownImage->contains(x, y))
        emit pointed(x, y);
    else
        emit pointedAway();
}

void FramePane::released(QMouseEvent* event) {
    if (isDragging)
        drag(plotPoint(event->position()));
    isDragging = false;
}

void FramePane::drag(const QPointF& to) {
    if (dragTool == PaneTool::Line) {
        emit lineDrawn({dragStart, to});
        return;
    }
    const QRect whole(0, 0, static_cast<int>(shownImage->width), static_cast<int>(shownImage->height));
    emit regionDrawn(QRectF(dragStart, to).normalized().toAlignedRect() & whole);
}

void FramePane::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // The plot lays itself out with the next event.
    QMetaObject::invokeMethod(this, &FramePane::fitArea, Qt::QueuedConnection);
}

bool FramePane::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Leave)
        emit pointedAway();
    if (event->type() == QEvent::Resize) {
        hintLabel->setGeometry(plot->rect().adjusted(16, 16, -16, -16));
        QMetaObject::invokeMethod(this, &FramePane::fitArea, Qt::QueuedConnection);
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ombrel::workbench
