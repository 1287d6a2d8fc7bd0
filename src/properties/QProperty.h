#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

// Qt's headers of bindable properties hold a template of this name, and its collecting headers hold those.
#ifdef QPROPERTY_H
#error "QProperty of Qt is here already: include the Qt classes one by one, not <QtCore> or <QtWidgets>"
#endif

class QAbstractItemDelegate;
class QModelIndex;
class QPainter;
class QStyleOptionViewItem;
class QWidget;

// One row of a property tree: a name, a value, a description, and child rows. It knows nothing of the model
// that shows it: the model asks it for data and flags by PropertyColumn and Qt::ItemDataRole, and the
// delegate asks it for an editor. This plain kind holds any QVariant and is edited with Qt's default editor
// for it; the kinds that derive from it bring an editor of their own.
//
// An item owns its children: deleting it deletes its subtree and takes it out of its parent. It must not
// become a child of itself or of an item below it. Use it on the thread of the user interface.
class QProperty {
public:
    QProperty(const QString& name, bool editable);
    virtual ~QProperty();
    QProperty(const QProperty&) = delete;
    QProperty& operator=(const QProperty&) = delete;

    virtual QVariant data(int column, int role) const;
    // Stores the value unconverted when the role is Qt::EditRole. Returns whether it differs from the
    // previous value.
    virtual bool setData(const QVariant& newValue, int role);

    // Paints the value's cell. False leaves the painting to the delegate.
    virtual bool paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                       const QAbstractItemDelegate* delegate) const;
    // A new editor for the value, filled, owned by `editorParent`; null for Qt's default editor.
    virtual QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                                  const QAbstractItemDelegate* delegate);
    // False when the delegate must fill the editor in Qt's way.
    virtual bool setEditorData(QWidget* editor);
    // The value in the editor; invalid when the delegate must read it in Qt's way.
    virtual QVariant getEditorData(QWidget* editor) const;
    virtual Qt::ItemFlags flags(int column) const;

    // Stores the value without conversion. Views are not notified: see
    // QPropertyModel::onDataChangedByModel().
    virtual void setValue(const QVariant& newValue);
    virtual QVariant getValue() const;
    virtual void setName(const QString& newName);
    virtual QString getName() const;
    virtual void setDescription(const QString& newDescription);
    virtual QString getDescription() const;

    // Takes ownership of the child, from its old parent if it has one, and returns its row; -1 for null. An
    // existing child keeps its row. The list is searched, so adding n children takes quadratic time.
    virtual int addChild(QProperty* child);
    virtual QList<QProperty*>& getChildren();
    // Null for a row out of range.
    virtual QProperty* getChild(int row) const;
    virtual int getRowCount() const;
    virtual QProperty* getParent() const;
    // Leaves the old parent and becomes the last child of the new one; with null the caller becomes the
    // owner.
    virtual void setParent(QProperty* newParent);
    // Releases the child without deleting it: the caller then owns it.
    virtual void removeChild(QProperty* child);
    // -1 for a property that is not a child.
    virtual int getChildRow(QProperty* child) const;

    // Whether an edit of this item also repaints its parent. The flag for the children is stored only.
    virtual bool getUpdateParent() const;
    virtual bool getUpdateChildren() const;
    virtual void setUpdateBehaviour(bool withParent, bool withChildren);
    virtual bool isEditable() const;

protected:
    QProperty(const QString& name, const QString& description, bool editable);

    // Stores the value, converted to the type.
    void storeAs(QMetaType::Type type, const QVariant& newValue);
    // Common set-up of every editor: it fills its cell, and is disabled when the item is read-only.
    void fitEditor(QWidget& editor) const;

    QVariant value;

private:
    QString name;
    QString description;
    bool editable;
    bool updateParent = false;
    bool updateChildren = false;
    QProperty* parent = nullptr;
    QList<QProperty*> children;
};
