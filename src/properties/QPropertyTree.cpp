// The tree operations of QProperty: who is whose child.
#include "properties/QProperty.h"

int QProperty::addChild(QProperty* child) {
    if (child && child->getParent() != this)
        child->setParent(this); // comes back here and appends
    // What was appended just now is found without a search, which would cost as much as appending it.
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
