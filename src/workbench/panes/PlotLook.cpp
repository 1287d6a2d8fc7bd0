#include "panes/PlotLook.h"

#include <qcustomplot.h>

namespace ombrel::workbench {

void fitToPalette(QCustomPlot& plot) {
    const QPalette& palette = plot.palette();
    const QColor text = palette.color(QPalette::WindowText);
    QColor line = text;
    line.setAlpha(90);
    QColor grid = text;
    grid.setAlpha(28);
    QFont font = plot.font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    plot.setBackground(palette.color(QPalette::Window));
    for (QCPAxis* const axis : plot.axisRect()->axes()) {
        axis->setBasePen(QPen(line));
        axis->setTickPen(QPen(line));
        axis->setSubTickPen(QPen(Qt::NoPen));
        axis->setTickLabelColor(text);
        axis->setLabelColor(text);
        axis->setTickLabelFont(font);
        axis->setLabelFont(font);
        axis->setTickLengthIn(0);
        axis->setTickLengthOut(3);
        axis->grid()->setPen(QPen(grid));
        axis->grid()->setZeroLinePen(QPen(line));
    }
}

} // namespace ombrel::workbench
