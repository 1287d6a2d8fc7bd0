#pragma once

#include "model/Image.h"

#include <QLineF>
#include <QVector>
#include <QWidget>

class QCPGraph;
class QCustomPlot;

namespace ombrel::workbench {

// A curve of the raw frame and one of the corrected frame in one plot. Where their values are of different
// orders the corrected one gets axes of its own, in its colour.
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

// The pixels that a line crosses, one sample a pixel of its length, of the nearest pixel each. Empty without
// an image; what lies outside, or is not finite, is a gap.
CurvePlot::Curve profileAlong(const QLineF& line, const ImagePtr& image);

} // namespace ombrel::workbench
