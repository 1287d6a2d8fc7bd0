#include "properties/QListProperty.h"

#include <utility>

QListProperty::QListProperty(const QString& initialName, bool canEdit)
    : QListProperty(initialName, {}, canEdit) {}

QListProperty::QListProperty(const QString& initialName, const QString& initialDescription, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit) {}

QWidget* QListProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                     const QAbstractItemDelegate*) {
    comboBox = new QComboBox(editorParent);
    comboBox->insertItems(comboBox->count(), list);
    fitEditor(*comboBox);
    comboBox->setCurrentText(value.toString());
    return comboBox;
}

QVariant QListProperty::getEditorData(QWidget* editor) const {
    const auto* const box = qobject_cast<QComboBox*>(editor);
    return box ? box->currentText() : value;
}

void QListProperty::setList(QList<QString> texts) {
    list = std::move(texts);
}

void QListProperty::setSelectedText(QString text) {
    value = text;
    if (comboBox)
        comboBox->setCurrentText(text);
}

QString QListProperty::selectedText() const {
    return comboBox ? comboBox->currentText() : value.toString();
}
