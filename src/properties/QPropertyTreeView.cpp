#include "properties/QPropertyTreeView.h"

#include "properties/QPropertyDelegate.h"
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
    // The grey of a heading reaches the left edge of the view.
    if (!selectedIndexes().contains(index)) {
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
