#include "properties/QPropertyTreeView.h"

#include "properties/CustomDelegate.h"
#include "properties/QPropertyModel.h"
#include "properties/ReadableText.h"

#include <QPainter>

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
