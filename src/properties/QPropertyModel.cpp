#include "properties/QPropertyModel.h"

#include "properties/PropertyColumn.h"

#include <QPersistentModelIndex>

#include <utility>

namespace {

std::unique_ptr<QProperty> newRoot() {
    return std::make_unique<QProperty>(QString(), true);
}

} // namespace

QPropertyModel::QPropertyModel(QObject* parent)
    : QAbstractItemModel(parent), root(newRoot()), headers{tr("Property"), tr("Value"), tr("Description")} {}

QPropertyModel::~QPropertyModel() = default;

bool QPropertyModel::addProperty(QProperty* property, const QString& key, const QString& parentKey,
                                 bool notify) {
    if (!property)
        return false;
    QProperty* const named = getProperty(parentKey);
    QProperty* const parent = named ? named : root.get();
    if (property->getParent() == parent)
        return false;
    if (notify) {
        const int row = parent->getRowCount();
        beginInsertRows(getIndexFromProperty(parent, PropertyColumn::Name), row, row);
    }
    parent->addChild(property);
    if (!key.isEmpty())
        addPropertyToMaps(property, key);
    if (notify)
        endInsertRows();
    return true;
}

QProperty* QPropertyModel::createProperty(const QString& key, const QString& name, const QString& parentKey,
                                          const QVariant& value) {
    auto* const property = new QProperty(name, true);
    property->setValue(value);
    return addProperty(property, key, parentKey, true) ? property : nullptr;
}

QProperty* QPropertyModel::getProperty(const QString& key) {
    return propertyByKey.value(key);
}

bool QPropertyModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (index.column() != PropertyColumn::Value)
        return true;
    // Invalid once the model is cleared or deleted, and the item with it.
    const QPersistentModelIndex edited(index);
    QProperty* const item = getProperty(index);
    const bool changed = item->setData(value, role);
    if (item->getUpdateParent() && changed) {
        const QModelIndex above = parent(index);
        emit dataChanged(above, above);
    }
    if (!changed || !edited.isValid())
        return true;
    emit onDataChangedByEditor(item);
    if (edited.isValid())
        emit dataChanged(index, index);
    return true;
}

bool QPropertyModel::setData(QProperty* property, const QVariant& value, int role) {
    return setData(getIndexFromProperty(property, PropertyColumn::Value), value, role);
}

bool QPropertyModel::setData(QString key, const QVariant& value, int role) {
    QProperty* const property = getProperty(key);
    return property && setData(property, value, role);
}

void QPropertyModel::clear() {
    beginResetModel();
    propertyByKey.clear();
    root = newRoot();
    endResetModel();
}

void QPropertyModel::setDataChanged() {
    emit dataChanged({}, {});
}

void QPropertyModel::setShowDescription(bool show) {
    showDescription = show;
}

bool QPropertyModel::isDescriptionShown() const {
    return showDescription;
}

void QPropertyModel::deletePropertyFromMaps(QProperty* property) {
    propertyByKey.remove(propertyByKey.key(property)); // the empty key when there is none
}

void QPropertyModel::addPropertyToMaps(QProperty* property, const QString& key) {
    propertyByKey.insert(key, property);
}

void QPropertyModel::onDataChangedByModel(QProperty* property) {
    const QModelIndex index = getIndexFromProperty(property, PropertyColumn::Value);
    if (index.isValid())
        emit dataChanged(index, index);
}
