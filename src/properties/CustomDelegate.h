#pragma once

#include "properties/QPropertyDelegate.h"

// Colours the rows light, in turns, and a value by the comparison in its text: ">" red, "<" orange, "="
// green.
class CustomDelegate : public QPropertyDelegate {
    Q_OBJECT

public:
    using QPropertyDelegate::QPropertyDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    // The colour of a row beside its value.
    static QColor rowColor(int row);
};
