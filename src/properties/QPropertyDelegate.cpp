#include "properties/QPropertyDelegate.h"

#include "properties/QProperty.h"
#include "properties/QPropertyModel.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QStyle>

#include <algorithm>

namespace {

void setText(QPalette& palette, QPalette::ColorGroup group, const QColor& color) {
    // Items are written with the first, branch indicators drawn with the others.
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(group, role, color);
}

} // namespace

void setReadableText(QPalette& palette, const QColor& background) {
    const bool onLight = background.lightnessF() > 0.5f;
    setText(palette, QPalette::All, onLight ? QColor(26, 26, 26) : QColor(240, 240, 240));
    setText(palette, QPalette::Disabled, onLight ? QColor(100, 100, 100) : QColor(165, 165, 165));
}

namespace {

// Null for an invalid index and for other models.
QProperty* itemOf(const QModelIndex& index) {
    const auto* const model = qobject_cast<const QPropertyModel*>(index.model());
    return model ? model->getProperty(index) : nullptr;
}

} // namespace

void QPropertyDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    const QProperty* const item = index.column() == PropertyColumn::Value ? itemOf(index) : nullptr;
    if (!item || !item->paint(painter, option, index, this))
        QStyledItemDelegate::paint(painter, option, index);
    drawGridLines(painter, option);
}

QSize QPropertyDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const QSize base = QStyledItemDelegate::sizeHint(option, index);
    if (rowHeight < 1)
        return {base.width(), base.height() + 1};
    return {base.width(), addToDefault ? rowHeight + base.height() + 1 : rowHeight};
}

QWidget* QPropertyDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                         const QModelIndex& index) const {
    QProperty* const item = itemOf(index);
    if (QWidget* const own = item ? item->createEditor(parent, option, this) : nullptr)
        return own;
    QWidget* const editor = QStyledItemDelegate::createEditor(parent, option, index);
    if (editor && item && !item->isEditable())
        editor->setEnabled(false);
    return editor;
}

void QPropertyDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    QProperty* const item = itemOf(index);
    if (!item || !editor || !item->setEditorData(editor))
        QStyledItemDelegate::setEditorData(editor, index);
}

void QPropertyDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                     const QModelIndex& index) const {
    const QProperty* const item = itemOf(index);
    const QVariant edited = item && editor ? item->getEditorData(editor) : QVariant();
    if (edited.isNull())
        QStyledItemDelegate::setModelData(editor, model, index);
    else
        model->setData(index, edited, Qt::EditRole);
}

void QPropertyDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                             const QModelIndex& index) const {
    QStyledItemDelegate::updateEditorGeometry(editor, option, index);
    QRect place = editor->geometry();
    const int missing = editor->minimumSizeHint().height() - place.height();
    if (missing <= 0)
        return;
    place.adjust(0, -missing / 2, 0, missing - missing / 2);
    if (const QWidget* const viewport = editor->parentWidget())
        place.moveTop(std::max(0, std::min(place.top(), viewport->height() - place.height())));
    editor->setGeometry(place);
}

void QPropertyDelegate::setRowHeight(int height, bool addItToDefault) {
    rowHeight = height;
    addToDefault = addItToDefault;
}

void QPropertyDelegate::drawGridLines(QPainter* painter, const QStyleOptionViewItem& option) {
    const QPen pen = painter->pen();
    const int color = QApplication::style()->styleHint(QStyle::SH_Table_GridLineColor, &option);
    painter->setPen(QColor::fromRgba(static_cast<QRgb>(color)));
    painter->drawLine(option.rect.topRight(), option.rect.bottomRight());
    // From the left edge of the view, so that the line also runs under the branches.
    painter->drawLine(0, option.rect.bottom(), option.rect.right(), option.rect.bottom());
    painter->setPen(pen);
}

void QPropertyDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    if (option->backgroundBrush.style() != Qt::NoBrush && !index.data(Qt::ForegroundRole).isValid())
        setReadableText(option->palette, option->backgroundBrush.color());
    // A boolean item returns its value for every role: as a decoration it would leave a gap before the text,
    // and as an alignment it would move the text to the top of the cell.
    if (option->icon.isNull())
        option->features &= ~QStyleOptionViewItem::ViewItemFeatures(QStyleOptionViewItem::HasDecoration);
    if (index.data(Qt::TextAlignmentRole).typeId() == QMetaType::Bool)
        option->displayAlignment = Qt::AlignLeft | Qt::AlignVCenter;
}

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
