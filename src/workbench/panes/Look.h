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

// What stands for the frame as measured, and for the frame behind the chain, in every plot.
inline const QColor rawColour(0x5b, 0x8d, 0xb8);
inline const QColor correctedColour(0xe0, 0x7b, 0x27);

// Gives the plot the colours of its widget's palette, thin axes and a small font.
void fitToPalette(QCustomPlot& plot);

// Text that explains is paler than text that says something, but can be read.
inline void secondaryText(QWidget& widget) {
    QPalette palette = widget.palette();
    QColor text = palette.color(QPalette::WindowText);
    text.setAlphaF(0.62f);
    palette.setColor(QPalette::WindowText, text);
    widget.setPalette(palette);
}

// A widget, or what belongs to one, for the parent or layout that it is given to.
template <typename Object, typename... Arguments>
Object* newChild(Arguments&&... arguments) {
    return std::make_unique<Object>(std::forward<Arguments>(arguments)...).release();
}

// Shows the content in full where there is room, and scrolls it up and down where there is less, so that its
// height keeps no window from fitting a small screen.
QWidget* newScroller(QWidget* content);

// The names of the colour maps that a user chooses from, in the order in which they are offered, with the
// marks of their mnemonics.
QStringList colourMapNames();

// For a name of these, without the mark. What is not a number is not painted.
QCPColorGradient colourMap(const QString& name);

// Blue below zero, red above: for what has limits as far below zero as above.
QCPColorGradient differenceColours();

} // namespace ombrel::workbench
