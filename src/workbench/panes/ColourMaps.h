#pragma once

#include <QStringList>

class QCPColorGradient;

namespace ombrel::workbench {

// The names of the colour maps that a user chooses from, in the order in which they are offered, with the
// marks of their mnemonics.
QStringList colourMapNames();

// For a name of these, without the mark. What is not a number is not painted.
QCPColorGradient colourMap(const QString& name);

// Blue below zero, red above: for what has limits as far below zero as above.
QCPColorGradient differenceColours();

} // namespace ombrel::workbench
