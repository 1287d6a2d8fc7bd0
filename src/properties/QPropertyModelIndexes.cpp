// What views read from QPropertyModel: where an item stands, and what it shows there.
#include "properties/PropertyColumn.h"
#include "properties/QPropertyModel.h"

QModelIndex QPropertyModel::index(int row, int column, const QModelIndex& parent) const {
    if (parent.isValid() && parent.column() > PropertyColumn::Value)
        return {};
    QProperty* const child = getProperty(parent)->getChild(row);
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex QPropertyModel::parent(const QModelIndex& index) const {
    if (!index.isValid())
        return {};
    QProperty* const parent = getProperty(index)->getParent();
    const QProperty* const grandparent = parent ? parent->getParent() : nullptr;
    const int row = grandparent ? grandparent->getChildRow(parent) : -1;
    return row < 0 ? QModelIndex() : createIndex(row, PropertyColumn::Name, parent);
}

int QPropertyModel::rowCount(const QModelIndex& parent) const {
    return getProperty(parent)->getRowCount();
}

int QPropertyModel::columnCount(const QModelIndex&) const {
    return showDescription ? 3 : 2;
}

QVariant QPropertyModel::data(const QModelIndex& index, int role) const {
    return getProperty(index)->data(index.column(), role);
}

Qt::ItemFlags QPropertyModel::flags(const QModelIndex& index) const {
    return getProperty(index)->flags(index.column());
}

QVariant QPropertyModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole)
        return {};
    if (orientation == Qt::Vertical)
        return section;
    const bool known = section >= 0 && section < static_cast<int>(headers.size());
    return known ? headers[section] : QVariant();
}

QProperty* QPropertyModel::getProperty(const QModelIndex& index) const {
    auto* const item = static_cast<QProperty*>(index.internalPointer());
    return index.isValid() && item ? item : root.get();
}

QModelIndex QPropertyModel::getIndexFromProperty(QProperty* property, int column) const {
    if (!property || column < 0 || column > columnCount())
        return {};
    const QProperty* const parent = property->getParent();
    return createIndex(parent ? parent->getChildRow(property) : 0, column, property);
}
