#include "panes/FramePane.h"

#include "panes/Look.h"

#include <QVBoxLayout>
#include <qcustomplot.h>

#include <algorithm>

namespace ombrel::workbench {

namespace {

constexpr double zoomStep = 0.8;

} // namespace

FramePane::FramePane(const QString& title, QWidget* parent)
    : QWidget(parent), titleLabel(newChild<QLabel>(title)), plot(newChild<QCustomPlot>(this)),
      hintLabel(newChild<QLabel>(plot)), colours(newChild<QCPColorMap>(plot->xAxis, plot->yAxis)),
      scale(newChild<QCPColorScale>(plot)), overlay(std::make_unique<PaneOverlay>(*plot)),
      mouse(newChild<PaneMouse>(*plot, this)) {
    layOut();
    makePicture();
    makeScale();
    connectPlot();
}

void FramePane::layOut() {
    QFont font = titleLabel->font();
    font.setBold(true);
    titleLabel->setFont(font);
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins(4, 2, 4, 2);
    layout->setSpacing(2);
    layout->addWidget(titleLabel);
    layout->addWidget(plot, 1);

    hintLabel->setObjectName("lbHint");
    hintLabel->setAlignment(Qt::AlignCenter);
    hintLabel->setWordWrap(true);
    hintLabel->setTextFormat(Qt::PlainText);
    hintLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
}

void FramePane::makePicture() {
    fitToPalette(*plot);
    plot->setMinimumSize(110, 90);
    plot->setInteractions(QCP::iRangeZoom);
    plot->axisRect()->setupFullAxesBox(false);
    for (QCPAxis* const axis : plot->axisRect()->axes()) {
        axis->setTickLabels(false);
        axis->setTicks(false);
        axis->grid()->setVisible(false);
    }
    plot->yAxis->setRangeReversed(true); // row 0 is at the top
    plot->axisRect()->setRangeZoomFactor(zoomStep);
    colours->setInterpolate(false);
    colours->setTightBoundary(false);
}

void FramePane::makeScale() {
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

void FramePane::connectPlot() {
    connect(mouse, &PaneMouse::regionDrawn, this, &FramePane::regionDrawn);
    connect(mouse, &PaneMouse::lineDrawn, this, &FramePane::lineDrawn);
    connect(mouse, &PaneMouse::pointed, this, &FramePane::pointed);
    connect(mouse, &PaneMouse::pointedAway, this, &FramePane::pointedAway);
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
    const bool isPicture = shownImage != nullptr;
    hintLabel->setText(isPicture ? QString() : hint);
    hintLabel->setVisible(!isPicture);
    colours->setVisible(isPicture);
    scale->setVisible(isPicture);
    if (map.data)
        colours->setData(map.data.release());
    mouse->setImage(shownImage);
    overlay->setMarks(map);
    overlay->setOnPicture(isPicture);
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

QSize FramePane::screenSize() const {
    return plot->axisRect()->size() * devicePixelRatio();
}

void FramePane::setVisibleArea(const QRectF& area) {
    visibleArea = area;
    fitArea();
}

// Keeps the scale of both axes equal.
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

QPoint FramePane::positionOf(const QPoint& pixel) const {
    const QPointF position(plot->xAxis->coordToPixel(pixel.x() + 0.5),
                           plot->yAxis->coordToPixel(pixel.y() + 0.5));
    return plot->mapTo(this, position.toPoint());
}

// The plot updates its layout in the next event.
void FramePane::fitAreaSoon() {
    QMetaObject::invokeMethod(this, &FramePane::fitArea, Qt::QueuedConnection);
}

void FramePane::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fitAreaSoon();
}

bool FramePane::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize) {
        hintLabel->setGeometry(plot->rect().adjusted(16, 16, -16, -16));
        // Labels of up to six digits must not touch each other.
        const int labelWidth = plot->fontMetrics().horizontalAdvance("000000");
        scale->axis()->ticker()->setTickCount(std::clamp(2 * plot->width() / (3 * labelWidth), 2, 5));
        fitAreaSoon();
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ombrel::workbench
