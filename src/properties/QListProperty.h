#pragma once

#include "properties/QProperty.h"

#include <QComboBox>
#include <QPointer>

// A choice among texts, edited in a combo box. Its value is the chosen text, which need not be in the list;
// the box then shows the first of the list.
class QListProperty : public QProperty {
public:
    QListProperty(const QString& name, bool editable);
    QListProperty(const QString& name, const QString& description, bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    // The text in the box; the value when the widget is no combo box.
    QVariant getEditorData(QWidget* editor) const override;

    // For editors made from now on; one that is open keeps its list.
    virtual void setList(QList<QString> texts);
    // Also in the editor that was made last, while it stands.
    virtual void setSelectedText(QString text);
    // The text in the editor that was made last while it stands, even if it is not committed; else the value.
    virtual QString selectedText() const;

private:
    // The view that asked for the editor deletes it when it likes.
    QPointer<QComboBox> comboBox;
    QList<QString> list;
};
