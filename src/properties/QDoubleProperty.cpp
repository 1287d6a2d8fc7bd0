#include "properties/QDoubleProperty.h"

#include "properties/QPTVDoubleSpinBox.h"
#include "properties/SpinBoxEditor.h"

#include <cmath>

QDoubleProperty::QDoubleProperty(const QString& initialName, double initialValue, double lowest,
                                 double highest, int decimals, bool canEdit)
    : QDoubleProperty(initialName, {}, initialValue, lowest, highest, decimals, canEdit) {}

QDoubleProperty::QDoubleProperty(const QString& initialName, const QString& initialDescription,
                                 double initialValue, double lowest, double highest, int decimals,
                                 bool canEdit)
    : QIntegerProperty(initialName, initialDescription, 0, 0, 0, canEdit), precision(decimals), min(lowest),
      max(highest) {
    storeAs(QMetaType::Double, initialValue);
}

QWidget* QDoubleProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                       const QAbstractItemDelegate*) {
    auto* const box = new QPTVDoubleSpinBox(editorParent);
    // The limits are rounded to the decimals that the box has when they are set.
    box->setMinimum(min);
    box->setMaximum(max);
    box->setDecimals(precision);
    box->setSingleStep(min > 0 ? min : 0.0001);
    box->setDecimals(static_cast<int>(std::fabs(std::log10(box->singleStep()))));
    box->setValue(value.toDouble());
    takeEitherSeparator(*box);
    fitEditor(*box);
    return box;
}

QVariant QDoubleProperty::getEditorData(QWidget* editor) const {
    const auto* const box = qobject_cast<QPTVDoubleSpinBox*>(editor);
    return box ? QVariant(box->value()) : QVariant(0);
}

void QDoubleProperty::setMinMaxPrec(double lowest, double highest, int decimals) {
    min = lowest;
    max = highest;
    precision = decimals;
}
