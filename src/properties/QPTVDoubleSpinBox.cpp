#include "properties/QPTVDoubleSpinBox.h"

QPTVDoubleSpinBox::QPTVDoubleSpinBox(QWidget* parent) : QDoubleSpinBox(parent) {
    // Where a point groups digits, the text "0.5" of this box would be read back as 5.
    setLocale(QLocale::c());
}

QString QPTVDoubleSpinBox::textFromValue(double number) const {
    return QString("%1").arg(number, 4, 'g', decimals(), QChar(' '));
}
