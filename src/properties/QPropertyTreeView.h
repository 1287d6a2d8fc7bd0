#pragma once

#include <QBrush>
#include <QTreeView>

class QPropertyDelegate;
class QPropertyModel;

// A tree view on a QPropertyModel, which it does not own. A value's editor opens as soon as its cell becomes
// the current one, by click or by key.
class QPropertyTreeView : public QTreeView {
    Q_OBJECT

public:
    explicit QPropertyTreeView(QWidget* parent = nullptr);
    explicit QPropertyTreeView(QPropertyModel* model, QWidget* parent = nullptr);

    // Selection, triggers and delegate. The constructors call it.
    virtual void init();
    // See QPropertyDelegate::setRowHeight().
    void setRowHeight(int height, bool addToDefault);

protected:
    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override;
    void initViewItemOption(QStyleOptionViewItem* option) const override;

private:
    QPropertyDelegate* propertyDelegate = nullptr;
    mutable QBrush branchBackground; // while branches are drawn on one
};
