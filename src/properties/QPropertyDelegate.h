#pragma once

#include <QStyledItemDelegate>

class QColor;
class QPalette;

// Makes text and signs near-black or near-white, whichever is readable on the background: rows have fixed
// colours in light and dark palettes. Disabled text is paler.
void setReadableText(QPalette& palette, const QColor& background);

// Leaves the editing and painting of a value to its QProperty, falls back on Qt's defaults, and draws grid
// lines. For views on a QPropertyModel; with any other model it behaves as Qt's delegate.
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
    // An editor is at least as high as its text needs, even if it then overlaps the neighbouring rows.
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

// Gives the rows two alternating light colours, and colours a value by the comparison in its text: ">" red,
// "<" orange, "=" green.
class CustomDelegate : public QPropertyDelegate {
    Q_OBJECT

public:
    using QPropertyDelegate::QPropertyDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    // The colour of a row beside its value.
    static QColor rowColor(int row);
};
