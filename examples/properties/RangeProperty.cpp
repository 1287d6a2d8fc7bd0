#include "RangeProperty.h"

#include "properties/QPropertyModel.h"

#include <QLineEdit>
#include <QPainter>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QStyleOptionViewItem>

RangeProperty::RangeProperty(const QString& name, const QString& description, QPointF range)
    : QProperty(name, description, true) {
    storeAs(QMetaType::QPointF, range);
}

QVariant RangeProperty::data(int column, int role) const {
    if (column == PropertyColumn::Value && (role == Qt::DisplayRole || role == Qt::EditRole)) {
        const QPointF range = value.toPointF();
        return QString("%1 to %2").arg(range.x()).arg(range.y());
    }
    return QProperty::data(column, role);
}

bool RangeProperty::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex&,
                          const QAbstractItemDelegate*) const {
    const QPointF range = value.toPointF();
    const QRectF cell = option.rect.adjusted(2, 2, -3, -3);
    const QRectF bar(cell.left() + range.x() * cell.width(), cell.top(),
                     (range.y() - range.x()) * cell.width(), cell.height());
    painter->fillRect(bar, option.palette.highlight());
    return true;
}

QWidget* RangeProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                     const QAbstractItemDelegate*) {
    auto* const line = new QLineEdit(data(PropertyColumn::Value, Qt::EditRole).toString(), editorParent);
    line->setValidator(new QRegularExpressionValidator(QRegularExpression("[\\d.]+ to [\\d.]+"), line));
    fitEditor(*line);
    return line;
}

QVariant RangeProperty::getEditorData(QWidget* editor) const {
    const QStringList parts = qobject_cast<QLineEdit*>(editor)->text().split(" to ");
    return parts.size() == 2 ? QPointF(parts[0].toDouble(), parts[1].toDouble()) : value;
}
