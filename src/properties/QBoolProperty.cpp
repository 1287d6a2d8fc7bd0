#include "properties/QBoolProperty.h"

#include "properties/PropertyColumn.h"

QBoolProperty::QBoolProperty(const QString& initialName, bool initialValue, bool canEdit)
    : QBoolProperty(initialName, {}, initialValue, canEdit) {}

QBoolProperty::QBoolProperty(const QString& initialName, const QString& initialDescription, bool initialValue,
                             bool canEdit)
    : QProperty(initialName, initialDescription, canEdit) {
    storeAs(QMetaType::Bool, initialValue);
}

QVariant QBoolProperty::data(int column, int role) const {
    if (column != PropertyColumn::Value)
        return QProperty::data(column, role);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return QString(value.toBool() ? "Yes" : "No");
    case Qt::CheckStateRole:
        return static_cast<int>(value.toBool() ? Qt::Checked : Qt::Unchecked);
    default:
        return value;
    }
}

bool QBoolProperty::setData(const QVariant& newValue, int role) {
    switch (role) {
    case Qt::EditRole:
        storeAs(QMetaType::Bool, newValue);
        return true;
    case Qt::CheckStateRole:
        value = newValue.toInt() == Qt::Checked;
        return true;
    default:
        return false;
    }
}

Qt::ItemFlags QBoolProperty::flags(int column) const {
    if (column != PropertyColumn::Value)
        return QProperty::flags(column);
    return isEditable() ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable
                        : Qt::NoItemFlags;
}
