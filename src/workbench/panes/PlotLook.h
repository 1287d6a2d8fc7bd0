#pragma once

#include <QColor>

class QCustomPlot;

namespace ombrel::workbench {

// What stands for the frame as measured, and for the frame behind the chain, in every plot.
inline const QColor rawColour(0x5b, 0x8d, 0xb8);
inline const QColor correctedColour(0xe0, 0x7b, 0x27);

// Gives the plot the colours of its widget's palette, thin axes and a small font.
void fitToPalette(QCustomPlot& plot);

} // namespace ombrel::workbench
