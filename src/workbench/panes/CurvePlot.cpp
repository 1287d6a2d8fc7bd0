#include "panes/CurvePlot.h"

#include "panes/Look.h"

#include <QVBoxLayout>
#include <qcustomplot.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ombrel::workbench {

CurvePlot::Curve profileAlong(const QLineF& line, const ImagePtr& image) {
    CurvePlot::Curve curve;
    if (!image)
        return curve;
    const int samples = std::max(1, static_cast<int>(std::lround(line.length())));
    for (int i = 0; i < samples; ++i) {
        const QPointF point = line.pointAt((i + 0.5) / samples);
        const int x = static_cast<int>(std::floor(point.x()));
        const int y = static_cast<int>(std::floor(point.y()));
        const double value =
            image->contains(x, y) ? image->at(x, y) : std::numeric_limits<double>::quiet_NaN();
        curve.x.append(i);
        curve.y.append(std::isfinite(value) ? value : std::numeric_limits<double>::quiet_NaN());
    }
    return curve;
}

namespace {

constexpr double ownAxesFrom = 8; // ratio of the widths of the ranges

QCPRange rangeOf(const QVector<double>& values) {
    bool isFound = false;
    QCPRange range;
    for (const double value : values) {
        if (std::isnan(value))
            continue;
        range = isFound ? QCPRange(std::min(range.lower, value), std::max(range.upper, value))
                        : QCPRange(value, value);
        isFound = true;
    }
    return range;
}

// Range of the curve without far outliers.
QCPRange robustRange(QVector<double> values) {
    values.removeIf([](double value) { return std::isnan(value); });
    if (values.isEmpty())
        return {};
    const auto quantile = [&](double part) {
        const auto at =
            values.begin() + static_cast<qsizetype>(part * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), at, values.end());
        return *at;
    };
    const double low = quantile(0.02);
    const double high = quantile(0.98);
    const double margin = 0.25 * (high - low) + 1e-9 * std::abs(high);
    return {low - margin, high + margin};
}

void dress(QCPGraph& graph, const QColor& colour, CurvePlot::Kind kind) {
    graph.setPen(QPen(colour, 1)); // wider pens draw many times slower
    if (kind != CurvePlot::Kind::Histogram)
        return;
    QColor fill = colour;
    fill.setAlpha(70);
    graph.setBrush(fill);
    graph.setLineStyle(QCPGraph::lsStepLeft);
    // Hundreds of horizontal and vertical lines need no antialiasing.
    graph.setAntialiased(false);
    graph.setAntialiasedFill(false);
}

void colourAxis(QCPAxis& axis, const QColor& colour) {
    axis.setTickLabelColor(colour);
    axis.setBasePen(QPen(colour));
    axis.setTickPen(QPen(colour));
    axis.grid()->setVisible(false);
}

} // namespace

CurvePlot::CurvePlot(Kind plotKind, QWidget* parent)
    : QWidget(parent), kind(plotKind), plot(newChild<QCustomPlot>(this)), rawGraph(plot->addGraph()),
      correctedGraph(plot->addGraph()),
      ownGraph(kind == Kind::Histogram ? plot->addGraph(plot->xAxis2, plot->yAxis2)
                                       : plot->addGraph(plot->xAxis, plot->yAxis2)) {
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins({});
    layout->addWidget(plot);
    fitToPalette(*plot);
    plot->setMinimumHeight(70);
    plot->xAxis->setLabel(kind == Kind::Histogram ? "Value of a pixel" : "Pixels along the line");
    plot->yAxis->setLabel(kind == Kind::Histogram ? "Pixels" : "Value");
    plot->xAxis->setLabelPadding(1);
    plot->yAxis->setLabelPadding(1);
    for (QCPAxis* const axis : plot->axisRect()->axes())
        axis->ticker()->setTickCount(4);
    dress(*rawGraph, rawColour, kind);
    dress(*correctedGraph, correctedColour, kind);
    dress(*ownGraph, correctedColour, kind);
    colourAxis(*plot->xAxis2, correctedColour);
    colourAxis(*plot->yAxis2, correctedColour);
    rawGraph->setName("raw");
    correctedGraph->setName("corrected");
    makeLegend();
}

// One line above the curves, where it hides nothing.
void CurvePlot::makeLegend() {
    QCPLegend& legend = *plot->legend;
    legend.removeItem(2); // the corrected curve already has an entry
    legend.setFillOrder(QCPLegend::foColumnsFirst);
    legend.setBrush(Qt::NoBrush);
    legend.setBorderPen(Qt::NoPen);
    legend.setMargins({0, 0, 12, 0});
    legend.setTextColor(palette().color(QPalette::WindowText));
    legend.setFont(plot->xAxis->tickLabelFont());
    legend.setIconSize(16, 8);
    legend.setColumnSpacing(12);
    legend.setVisible(true);
    auto* const strip = newChild<QCPLayoutGrid>();
    plot->plotLayout()->insertRow(0);
    plot->plotLayout()->addElement(0, 0, strip);
    strip->addElement(0, 0, newChild<QCPTextElement>(plot)); // takes the remaining width
    strip->addElement(0, 1, &legend);
    strip->setColumnStretchFactor(1, 1e-3);
    plot->plotLayout()->setRowStretchFactor(0, 1e-3);
    plot->plotLayout()->setRowSpacing(0);
    plot->axisRect()->setMinimumMargins({8, 4, 12, 4});
}

bool CurvePlot::needOwnAxes(const Curve& raw, const Curve& corrected) const {
    const bool isHistogram = kind == Kind::Histogram;
    const QCPRange first = rangeOf(isHistogram ? raw.x : raw.y);
    const QCPRange second = rangeOf(isHistogram ? corrected.x : corrected.y);
    if (first.size() == 0 || second.size() == 0)
        return false;
    // Ranges that overlap share the axes, even when one curve is much flatter: showing that is the point of a
    // correction. Ranges far apart have different units.
    const double ratio = first.size() / second.size();
    const bool areOfOneOrder = ratio < ownAxesFrom && ratio > 1 / ownAxesFrom;
    return !areOfOneOrder && (second.upper < first.lower || second.lower > first.upper);
}

void CurvePlot::show(const Curve& raw, const Curve& corrected) {
    const bool own = needOwnAxes(raw, corrected);
    const Curve none;
    rawGraph->setData(raw.x, raw.y, true);
    const Curve& shared = own ? none : corrected;
    const Curve& apart = own ? corrected : none;
    correctedGraph->setData(shared.x, shared.y, true);
    ownGraph->setData(apart.x, apart.y, true);
    plot->yAxis2->setVisible(own && kind == Kind::Profile);
    plot->xAxis2->setVisible(own && kind == Kind::Histogram);
    plot->rescaleAxes();
    if (kind == Kind::Histogram) {
        plot->yAxis->setRangeLower(0);
        plot->yAxis2->setRangeLower(0);
    } else {
        QCPRange range = robustRange(raw.y);
        if (!shared.y.isEmpty())
            range.expand(robustRange(shared.y));
        plot->yAxis->setRange(range);
    }
    plot->replot(QCustomPlot::rpQueuedReplot);
}

} // namespace ombrel::workbench
