#pragma once

#include <QVariant>

class QSpinBox;
class QWidget;

// The editor of all integer kinds: Qt's spin box, which works within int.

QSpinBox* makeSpinBox(QWidget* parent, int min, int max, int value);

// The integer in the box; 0 when the widget is no spin box.
QVariant spinBoxValue(QWidget* editor);
