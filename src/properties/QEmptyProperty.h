#pragma once

#include "properties/QProperty.h"

// A heading: a name in bold on grey, with an empty value and no editor. It is never editable.
class QEmptyProperty : public QProperty {
public:
    explicit QEmptyProperty(const QString& name);

    QVariant data(int column, int role) const override;
    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;
    Qt::ItemFlags flags(int column) const override;
};
