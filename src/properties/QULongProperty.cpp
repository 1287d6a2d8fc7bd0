#include "properties/QULongProperty.h"

#include "properties/SpinBoxEditor.h"

#include <QSpinBox>

QULongProperty::QULongProperty(const QString& initialName, unsigned long long initialValue,
                               unsigned long long lowest, unsigned long long highest, bool canEdit)
    : QULongProperty(initialName, {}, initialValue, lowest, highest, canEdit) {}

QULongProperty::QULongProperty(const QString& initialName, const QString& initialDescription,
                               unsigned long long initialValue, unsigned long long lowest,
                               unsigned long long highest, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit), min(lowest), max(highest) {
    storeAs(QMetaType::ULongLong, initialValue);
}

QWidget* QULongProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                      const QAbstractItemDelegate*) {
    QSpinBox* const box =
        makeSpinBox(editorParent, static_cast<int>(min), static_cast<int>(max), value.toInt());
    fitEditor(*box);
    return box;
}

QVariant QULongProperty::getEditorData(QWidget* editor) const {
    return spinBoxValue(editor);
}

void QULongProperty::setMinMax(unsigned long long lowest, unsigned long long highest) {
    min = lowest;
    max = highest;
}
