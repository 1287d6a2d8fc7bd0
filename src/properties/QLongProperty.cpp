#include "properties/QLongProperty.h"

#include "properties/SpinBoxEditor.h"

#include <QSpinBox>

QLongProperty::QLongProperty(const QString& initialName, long long initialValue, long long lowest,
                             long long highest, bool canEdit)
    : QLongProperty(initialName, {}, initialValue, lowest, highest, canEdit) {}

QLongProperty::QLongProperty(const QString& initialName, const QString& initialDescription,
                             long long initialValue, long long lowest, long long highest, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit), min(lowest), max(highest) {
    storeAs(QMetaType::LongLong, initialValue);
}

QWidget* QLongProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                     const QAbstractItemDelegate*) {
    QSpinBox* const box =
        makeSpinBox(editorParent, static_cast<int>(min), static_cast<int>(max), value.toInt());
    fitEditor(*box);
    return box;
}

QVariant QLongProperty::getEditorData(QWidget* editor) const {
    return spinBoxValue(editor);
}

void QLongProperty::setMinMax(long long lowest, long long highest) {
    min = lowest;
    max = highest;
}
