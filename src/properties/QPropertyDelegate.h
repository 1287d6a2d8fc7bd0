#pragma once

#include <QStyledItemDelegate>

class QColor;
class QPalette;

// Makes text and signs near-black or near-white, whichever reads on the background: fixed colours of rows
// meet light and dark palettes. Disabled text stays paler than the other.
void setReadableText(QPalette& palette, const QColor& background);

// Hands the editing and painting of a value to its QProperty, falls back on Qt's way, and draws grid lines.
// For views on a QPropertyModel; on any other model it works in Qt's way.
class QPropertyDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    // An editor is at least as high as its text needs, also where that reaches over the rows beside it.
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;

    // Rows of `height` pixels, or with `addToDefault` that many more than Qt's and one for the grid line.
    // Below 1: Qt's height and the grid line.
    void setRowHeight(int height, bool addToDefault);

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
    static void drawGridLines(QPainter* painter, const QStyleOptionViewItem& option);

private:
    int rowHeight = 0;
    bool addToDefault = false;
};

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
