#pragma once

#include "properties/QProperty.h"

#include <QPointF>

// A kind that the library does not have: a range of two numbers, edited as "FROM to TO" and drawn as a bar on
// 0 to 1.
class RangeProperty : public QProperty {
public:
    RangeProperty(const QString& name, const QString& description, QPointF range);

    QVariant data(int column, int role) const override;
    bool paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index,
               const QAbstractItemDelegate* delegate) const override;
    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;
};
