#include "panes/FramePanes.h"

#include "frame/PixelFaults.h"
#include "panes/Look.h"

#include <QHBoxLayout>
#include <qcustomplot.h>

namespace ombrel::workbench {

namespace {

constexpr int settleMilliseconds = 40;

// The hint in place of a missing picture.
QString hintFor(PaneIndex pane, const FrameView& view) {
    if (view.failure.empty() && view.isComplete && pane == DIFFERENCE_PANE && view.showsSignalToNoise)
        return QString::fromStdString(view.noSigma);
    if (!view.failure.empty())
        return pane == DIFFERENCE_PANE ? QString() : QString::fromStdString(view.failure);
    if (!view.isComplete)
        return pane == RAW_PANE ? QString() : QString("Correcting \u2026");
    return pane == CORRECTED_PANE ? QString("Add a filter to the chain\nto see the frame corrected")
                                  : QString();
}

} // namespace

FramePanes::FramePanes(QWidget* parent)
    : QWidget(parent), panes{newChild<FramePane>("Raw"), newChild<FramePane>("Corrected"),
                             newChild<FramePane>("Difference")} {
    auto* const layout = newChild<QHBoxLayout>(this);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    for (FramePane* const pane : panes) {
        layout->addWidget(pane, 1);
        connectPane(*pane);
    }
    panes[DIFFERENCE_PANE]->setColours(differenceColours());
    settled.setSingleShot(true);
    settled.setInterval(settleMilliseconds);
    connect(&settled, &QTimer::timeout, this, &FramePanes::mapViewChanged);
}

void FramePanes::connectPane(FramePane& pane) {
    connect(&pane, &FramePane::visibleAreaChanged, this,
            [this, &pane](const QRectF& area) { showArea(area, &pane); });
    connect(&pane, &FramePane::regionDrawn, this, &FramePanes::setRegion);
    connect(&pane, &FramePane::lineDrawn, this, &FramePanes::setLine);
    connect(&pane, &FramePane::limitsEdited, this, &FramePanes::limitsEdited);
    connect(
        &pane, &FramePane::pointed, this, [this](int x, int y) { pointAt(QPoint(x, y)); });
    connect(&pane, &FramePane::pointedAway, this, [this] { pointAt({}); });
}

void FramePanes::show(ShownFrame& frame) {
    faults = frame.view.faults;
    if (frame.view.isComplete || frame.view.sigma)
        sigma = frame.view.sigma;
    const bool isOther = setThirdPane(frame.view.showsSignalToNoise);
    for (const PaneIndex index : {RAW_PANE, CORRECTED_PANE, DIFFERENCE_PANE}) {
        const PaneView& picture = frame.view.panes[index];
        // Keep the previous picture while the chain is working, to avoid flicker.
        if (!picture.image && !frame.view.isComplete && frame.view.failure.empty() && panes[index]->image())
            continue;
        panes[index]->setPicture(picture, frame.maps[index], hintFor(index, frame.view));
        if (picture.image && (!locked || (isOther && index == DIFFERENCE_PANE)))
            panes[index]->setLimits(picture.limits);
    }
    pointAt(pointedPixel);
}

void FramePanes::clear() {
    PaneMap none;
    for (FramePane* const pane : panes)
        pane->setPicture({}, none, {});
    sigma.reset();
    pointAt({});
}

void FramePanes::setColourMap(const QString& name) {
    colourMapName = name;
    for (const PaneIndex index : {RAW_PANE, CORRECTED_PANE})
        panes[index]->setColours(colourMap(name));
    if (showsSignalToNoise)
        panes[DIFFERENCE_PANE]->setColours(colourMap(name));
}

bool FramePanes::setThirdPane(bool isSignalToNoise) {
    if (showsSignalToNoise == isSignalToNoise)
        return false;
    showsSignalToNoise = isSignalToNoise;
    panes[DIFFERENCE_PANE]->setTitle(isSignalToNoise ? "Signal to noise" : "Difference");
    panes[DIFFERENCE_PANE]->setColours(isSignalToNoise ? colourMap(colourMapName) : differenceColours());
    return true;
}

void FramePanes::showSignalToNoise(bool isShown) {
    wantsSignalToNoise = isShown;
    emit mapViewChanged();
}

void FramePanes::setTool(PaneTool tool) {
    for (FramePane* const pane : panes)
        pane->setTool(tool);
}

void FramePanes::lockLimits(bool areLocked) {
    if (locked == areLocked)
        return;
    locked = areLocked;
    if (!locked)
        emit mapViewChanged();
}

void FramePanes::markPixels(bool areMarked) {
    marks = areMarked;
    emit mapViewChanged();
}

MapView FramePanes::mapView() const {
    const QRectF whole(QPointF(), frameSize);
    return {visibleArea.contains(whole) ? QRectF() : visibleArea, panes[RAW_PANE]->screenSize(), marks,
            wantsSignalToNoise};
}

void FramePanes::showWhole(const QSize& size) {
    frameSize = size;
    showArea(QRectF(QPointF(), size), nullptr);
}

void FramePanes::showArea(const QRectF& area, const FramePane* except) {
    visibleArea = area;
    for (FramePane* const pane : panes)
        if (pane != except)
            pane->setVisibleArea(area);
    settled.start();
}

void FramePanes::setRegion(const QRect& region) {
    drawnRegion = region;
    for (FramePane* const pane : panes)
        pane->showRegion(region);
    emit regionChanged();
}

void FramePanes::setLine(const QLineF& line) {
    drawnLine = line;
    for (FramePane* const pane : panes)
        pane->showLine(line);
    emit lineChanged();
}

void FramePanes::pointAt(const std::optional<QPoint>& pixel) {
    pointedPixel = pixel;
    emit pointed(pixel ? valuesAt(pixel->x(), pixel->y()) : QString());
}

QString FramePanes::valuesAt(int x, int y) const {
    QString text = QString("x %1  y %2").arg(x).arg(y);
    const std::array<const char*, PANE_COUNT> names{"raw", "corrected",
                                                    showsSignalToNoise ? "signal to noise" : "difference"};
    for (std::size_t i = 0; i < PANE_COUNT; ++i) {
        if (const ImagePtr& image = panes[i]->image(); image && image->contains(x, y))
            text += QString("   %1 %2").arg(names[i]).arg(image->at(x, y), 0, 'g', 7);
        if (i == CORRECTED_PANE && panes[i]->image() && sigma && sigma->contains(x, y))
            text += QString(" \u00b1 %1").arg(sigma->at(x, y), 0, 'g', 3);
    }
    const std::size_t pixel = static_cast<std::size_t>(y) * static_cast<std::size_t>(frameSize.width()) +
                              static_cast<std::size_t>(x);
    if (faults && pixel < faults->size() && (*faults)[pixel] != 0)
        text += "   " + QString::fromStdString(faultText((*faults)[pixel]));
    return text;
}

void FramePanes::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    settled.start();
}

} // namespace ombrel::workbench
