#include "properties/SpinBoxEditor.h"

#include <QSpinBox>

QSpinBox* makeSpinBox(QWidget* parent, int min, int max, int value) {
    auto* const box = new QSpinBox(parent);
    box->setMinimum(min);
    box->setMaximum(max);
    box->setValue(value);
    return box;
}

QVariant spinBoxValue(QWidget* editor) {
    const auto* const box = qobject_cast<QSpinBox*>(editor);
    return box ? box->value() : 0;
}
