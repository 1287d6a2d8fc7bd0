#include "properties/QPropertyModel.h"

#include "properties/QPropertyDelegate.h"

#include <QPainter>
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
    // Invalid after a slot cleared or deleted the model, and the item with it.
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
    propertyByKey.remove(propertyByKey.key(property)); // the empty key for a property without one
}

void QPropertyModel::addPropertyToMaps(QProperty* property, const QString& key) {
    propertyByKey.insert(key, property);
}

void QPropertyModel::onDataChangedByModel(QProperty* property) {
    const QModelIndex index = getIndexFromProperty(property, PropertyColumn::Value);
    if (index.isValid())
        emit dataChanged(index, index);
}

// What views read from QPropertyModel: the position of an item and its data.

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

QPropertyTreeView::QPropertyTreeView(QWidget* parent) : QPropertyTreeView(nullptr, parent) {}

QPropertyTreeView::QPropertyTreeView(QPropertyModel* model, QWidget* parent) : QTreeView(parent) {
    QPropertyTreeView::init();
    if (model)
        setModel(model);
}

void QPropertyTreeView::init() {
    setAlternatingRowColors(true);
    setUniformRowHeights(true);
    propertyDelegate = new QPropertyDelegate(this);
    setItemDelegate(propertyDelegate);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setRootIsDecorated(true);
    setEditTriggers(QAbstractItemView::CurrentChanged | QAbstractItemView::SelectedClicked);
}

void QPropertyTreeView::setRowHeight(int height, bool addToDefault) {
    propertyDelegate->setRowHeight(height, addToDefault);
}

void QPropertyTreeView::drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const {
    if (!selectedIndexes().contains(index)) {
        // Rows that are light in a dark palette too are so from the left edge of the view on.
        if (qobject_cast<CustomDelegate*>(itemDelegate()))
            painter->fillRect(rect, CustomDelegate::rowColor(index.row()));
        // The grey of a heading reaches there too.
        branchBackground = qvariant_cast<QBrush>(index.data(Qt::BackgroundRole));
        painter->fillRect(rect, branchBackground);
    }
    QTreeView::drawBranches(painter, rect, index);
    branchBackground = {};
}

void QPropertyTreeView::initViewItemOption(QStyleOptionViewItem* option) const {
    QTreeView::initViewItemOption(option);
    if (branchBackground.style() != Qt::NoBrush)
        setReadableText(option->palette, branchBackground.color());
}
