#include "properties/CustomDelegate.h"

#include "properties/PropertyColumn.h"
#include "properties/ReadableText.h"

#include <QPainter>

namespace {

QColor backgroundOf(const QModelIndex& index) {
    if (index.column() == PropertyColumn::Value) {
        const QString text = index.data(Qt::DisplayRole).toString();
        if (text.contains('>'))
            return {255, 200, 200};
        if (text.contains('<'))
            return {255, 223, 186};
        if (text.contains('='))
            return {200, 255, 200};
    }
    return CustomDelegate::rowColor(index.row());
}

} // namespace

void CustomDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const {
    QStyleOptionViewItem colored = option;
    const QColor background = backgroundOf(index);
    colored.palette.setBrush(QPalette::All, QPalette::Base, background);
    setReadableText(colored.palette, background);
    painter->fillRect(colored.rect, colored.palette.base());
    QStyledItemDelegate::paint(painter, colored, index);
    drawGridLines(painter, option);
}

QColor CustomDelegate::rowColor(int row) {
    return row % 2 == 0 ? QColor(253, 253, 253) : QColor(247, 247, 247);
}
