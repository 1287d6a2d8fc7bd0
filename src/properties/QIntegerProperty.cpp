#include "properties/QIntegerProperty.h"

#include "properties/SpinBoxEditor.h"

#include <QSpinBox>

QIntegerProperty::QIntegerProperty(const QString& initialName, int initialValue, int lowest, int highest,
                                   bool canEdit)
    : QIntegerProperty(initialName, {}, initialValue, lowest, highest, canEdit) {}

QIntegerProperty::QIntegerProperty(const QString& initialName, const QString& initialDescription,
                                   int initialValue, int lowest, int highest, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit), min(lowest), max(highest) {
    storeAs(QMetaType::Int, initialValue);
}

QWidget* QIntegerProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                        const QAbstractItemDelegate*) {
    QSpinBox* const box = makeSpinBox(editorParent, min, max, value.toInt());
    fitEditor(*box);
    return box;
}

QVariant QIntegerProperty::getEditorData(QWidget* editor) const {
    return spinBoxValue(editor);
}

void QIntegerProperty::setMinMax(int lowest, int highest) {
    min = lowest;
    max = highest;
}
