#pragma once

#include <QColor>
#include <QPalette>
#include <QStringList>
#include <QWidget>

#include <memory>
#include <utility>

class QCustomPlot;

class QWidget;

class QCPColorGradient;

namespace ombrel::workbench {

// The colours of the measured and of the corrected frame in every plot.
inline const QColor rawColour(0x5b, 0x8d, 0xb8);
inline const QColor correctedColour(0xe0, 0x7b, 0x27);

// Gives the plot the colours of its widget's palette, thin axes and a small font.
void fitToPalette(QCustomPlot& plot);

// Explanatory text is paler than other text, but still readable.
inline void secondaryText(QWidget& widget) {
    QPalette palette = widget.palette();
    QColor text = palette.color(QPalette::WindowText);
    text.setAlphaF(0.62f);
    palette.setColor(QPalette::WindowText, text);
    widget.setPalette(palette);
}

// Allocates a widget, or an object of one, that its parent or layout will own.
template <typename Object, typename... Arguments>
Object* newChild(Arguments&&... arguments) {
    return std::make_unique<Object>(std::forward<Arguments>(arguments)...).release();
}

// A vertical scroll area around the content, so that the content's height never prevents a window from
// fitting a small screen.
QWidget* newScroller(QWidget* content);

// The choice of files in a dialog that opens frames.
QString frameFileFilter();

// The names of the selectable colour maps, in menu order, with mnemonic marks.
QStringList colourMapNames();

// `name` is one of these without its mark. NaN is not painted.
QCPColorGradient colourMap(const QString& name);

// Blue below zero, red above, for limits symmetric around zero.
QCPColorGradient differenceColours();

} // namespace ombrel::workbench
