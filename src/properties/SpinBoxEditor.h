#pragma once

#include <QVariant>

class QDoubleSpinBox;
class QSpinBox;
class QWidget;

// The editor of all integer kinds: Qt's spin box, which works within int.

QSpinBox* makeSpinBox(QWidget* parent, int min, int max, int value);

// The integer in the box; 0 when the widget is no spin box.
QVariant spinBoxValue(QWidget* editor);

// Takes point and comma alike for the decimal separator, typed or pasted. Qt drops the one that groups digits
// in the box's locale, and so would read "0,2" as 2.
void takeEitherSeparator(QDoubleSpinBox& box);
