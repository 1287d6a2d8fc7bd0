#pragma once

#include "model/Image.h"

#include <QLineF>
#include <QVector>
#include <QWidget>

class QCPGraph;
class QCustomPlot;

namespace ombrel::workbench {

// A curve of the raw frame and one of the corrected frame in one plot. If their values differ by orders of
// magnitude, the corrected curve gets its own axes, in its colour.
class CurvePlot final : public QWidget {
    Q_OBJECT
public:
    struct Curve {
        QVector<double> x; // rising
        QVector<double> y;
    };
    enum class Kind { Histogram, Profile };

    explicit CurvePlot(Kind plotKind, QWidget* parent = nullptr);

    void show(const Curve& raw, const Curve& corrected);
    using QWidget::show;

private:
    void makeLegend();
    bool needOwnAxes(const Curve& raw, const Curve& corrected) const;

    Kind kind;
    QCustomPlot* plot;
    QCPGraph* rawGraph;
    QCPGraph* correctedGraph;
    QCPGraph* ownGraph; // the corrected curve on its own axes
};

// Values along a line: one sample per pixel of its length, each from the nearest pixel. Empty without an
// image; samples outside the image, or not finite, are gaps.
CurvePlot::Curve profileAlong(const QLineF& line, const ImagePtr& image);

} // namespace ombrel::workbench
