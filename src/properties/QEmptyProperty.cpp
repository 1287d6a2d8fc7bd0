#include "properties/QEmptyProperty.h"

#include "properties/PropertyColumn.h"

#include <QBrush>
#include <QFont>

QEmptyProperty::QEmptyProperty(const QString& initialName) : QProperty(initialName, false) {}

QVariant QEmptyProperty::data(int column, int role) const {
    if (column == PropertyColumn::Value && (role == Qt::DisplayRole || role == Qt::EditRole))
        return {};
    if (role == Qt::FontRole) {
        QFont bold;
        bold.setWeight(QFont::Bold);
        return bold;
    }
    if (role == Qt::BackgroundRole)
        return QBrush(QColor(217, 217, 217));
    return QProperty::data(column, role);
}

QWidget* QEmptyProperty::createEditor(QWidget*, const QStyleOptionViewItem&, const QAbstractItemDelegate*) {
    return nullptr;
}

QVariant QEmptyProperty::getEditorData(QWidget*) const {
    return {};
}

Qt::ItemFlags QEmptyProperty::flags(int) const {
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
}
