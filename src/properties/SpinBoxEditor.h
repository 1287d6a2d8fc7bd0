#pragma once

#include <QDoubleSpinBox>
#include <QVariant>

// The box for double values. It shows as many significant digits as it has decimals, and so small and large
// numbers alike: with 4 decimals " 0.5", "12.35", "1.235e+07". The point is a point in every locale, in the
// text that is shown and in the text that is typed.
class QPTVDoubleSpinBox : public QDoubleSpinBox {
    Q_OBJECT

public:
    explicit QPTVDoubleSpinBox(QWidget* parent = nullptr);

    QString textFromValue(double number) const override;
};

class QDoubleSpinBox;
class QSpinBox;
class QWidget;

// The editor of all integer kinds: Qt's spin box, which works within int.

QSpinBox* makeSpinBox(QWidget* parent, int min, int max, int value);

// The integer in the box; 0 when the widget is not a spin box.
QVariant spinBoxValue(QWidget* editor);

// Accepts both point and comma as the decimal separator, typed or pasted. Qt drops the one that groups digits
// in the box's locale, and so would read "0,2" as 2.
void takeEitherSeparator(QDoubleSpinBox& box);
