#include "properties/QProperty.h"

#include "properties/QPropertyModel.h"

#include <QWidget>

#include <utility>

QProperty::QProperty(const QString& initialName, bool canEdit) : QProperty(initialName, {}, canEdit) {}

QProperty::QProperty(const QString& initialName, const QString& initialDescription, bool canEdit)
    : name(initialName), description(initialDescription), editable(canEdit) {}

QProperty::~QProperty() {
    // Reset the member first, so that the old parent does not call back.
    if (QProperty* const oldParent = std::exchange(parent, nullptr))
        oldParent->removeChild(this);
    while (!children.isEmpty())
        delete children.takeLast();
}

QVariant QProperty::data(int column, int role) const {
    if (role == Qt::ToolTipRole)
        return description;
    const bool shown = role == Qt::DisplayRole;
    const bool shownOrEdited = shown || role == Qt::EditRole;
    if (column == PropertyColumn::Name && shown)
        return name;
    if (column == PropertyColumn::Value && shownOrEdited)
        return value;
    if (column == PropertyColumn::Description && shownOrEdited)
        return description;
    return {};
}

bool QProperty::setData(const QVariant& newValue, int role) {
    if (role != Qt::EditRole)
        return false;
    const bool changed = value != newValue;
    setValue(newValue);
    return changed;
}

bool QProperty::paint(QPainter*, const QStyleOptionViewItem&, const QModelIndex&,
                      const QAbstractItemDelegate*) const {
    return false;
}

QWidget* QProperty::createEditor(QWidget*, const QStyleOptionViewItem&, const QAbstractItemDelegate*) {
    return nullptr;
}

bool QProperty::setEditorData(QWidget*) {
    return false;
}

QVariant QProperty::getEditorData(QWidget*) const {
    return {};
}

Qt::ItemFlags QProperty::flags(int column) const {
    switch (column) {
    case PropertyColumn::Name:
    case PropertyColumn::Description:
        return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    case PropertyColumn::Value:
        return Qt::ItemIsSelectable | Qt::ItemIsEnabled |
               (isEditable() ? Qt::ItemIsEditable : Qt::NoItemFlags);
    default:
        return Qt::NoItemFlags;
    }
}

void QProperty::setValue(const QVariant& newValue) {
    value = newValue;
}

QVariant QProperty::getValue() const {
    return value;
}

void QProperty::setName(const QString& newName) {
    name = newName;
}

QString QProperty::getName() const {
    return name;
}

void QProperty::setDescription(const QString& newDescription) {
    description = newDescription;
}

QString QProperty::getDescription() const {
    return description;
}

bool QProperty::getUpdateParent() const {
    return updateParent;
}

bool QProperty::getUpdateChildren() const {
    return updateChildren;
}

void QProperty::setUpdateBehaviour(bool withParent, bool withChildren) {
    updateParent = withParent;
    updateChildren = withChildren;
}

bool QProperty::isEditable() const {
    return editable;
}

void QProperty::storeAs(QMetaType::Type type, const QVariant& newValue) {
    value = newValue;
    value.convert(QMetaType(type));
}

void QProperty::fitEditor(QWidget& editor) const {
    editor.setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    editor.setEnabled(isEditable());
}

// The tree operations of QProperty.

int QProperty::addChild(QProperty* child) {
    if (child && child->getParent() != this)
        child->setParent(this); // comes back here and appends
    // A child that was just appended is the last one: this saves a second search.
    const int last = static_cast<int>(children.size()) - 1;
    const int row = child && getChild(last) == child ? last : getChildRow(child);
    if (!child || row >= 0)
        return row;
    children.append(child);
    return last + 1;
}

QList<QProperty*>& QProperty::getChildren() {
    return children;
}

QProperty* QProperty::getChild(int row) const {
    return row < 0 || row >= getRowCount() ? nullptr : children[row];
}

int QProperty::getRowCount() const {
    return static_cast<int>(children.size());
}

QProperty* QProperty::getParent() const {
    return parent;
}

void QProperty::setParent(QProperty* newParent) {
    if (newParent == parent)
        return;
    QProperty* const oldParent = parent;
    parent = newParent;
    if (oldParent)
        oldParent->removeChild(this);
    if (newParent)
        newParent->addChild(this);
}

void QProperty::removeChild(QProperty* child) {
    children.removeAll(child);
    if (child && child->getParent() == this)
        child->setParent(nullptr);
}

int QProperty::getChildRow(QProperty* child) const {
    return static_cast<int>(children.indexOf(child));
}
