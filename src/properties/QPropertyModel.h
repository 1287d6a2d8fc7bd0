#pragma once

#include "properties/QProperty.h"

#include <QAbstractItemModel>
#include <QBrush>
#include <QMap>
#include <QString>
#include <QTreeView>

#include <array>
#include <memory>

// The columns of a property tree.

namespace PropertyColumn {

enum Column : int { Name = 0, Value = 1, Description = 2 };

} // namespace PropertyColumn

// The role for the stored value when the display role returns a text for it: the boolean itself of a
// QBoolProperty.
inline constexpr int StoredValueRole = -1;

// Shows a tree of QProperty items in the columns of PropertyColumn. It owns the items, from an invisible root
// down. An item may have a key, any string, by which it is found; parents are named by their keys.
//
// Two restrictions:
// - A view that already shows the model does not show top-level rows that are added later: add them before
//   setModel(), or right after clear(), in the same turn of the event loop.
// - Adding a row searches its siblings: building a flat list takes quadratic time.
class QPropertyModel : public QAbstractItemModel {
    Q_OBJECT

public:
    explicit QPropertyModel(QObject* parent = nullptr);
    ~QPropertyModel() override;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    // An edit: passes the value to the item and, when that changed, announces it. Always returns true. The
    // item may be deleted when it returns, since a slot may clear the model.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // Appends the property to the item with the key `parentKey`, or to the top level when no item has it, and
    // takes ownership. An empty key registers no key; a key that is already in use moves to this property.
    // Views are notified with `notify`. Returns false, and takes nothing over, for null and for a property
    // that is already a child of that parent.
    virtual bool addProperty(QProperty* property, const QString& key, const QString& parentKey,
                             bool notify = true);
    // An editable plain QProperty, added with notification.
    virtual QProperty* createProperty(const QString& key, const QString& name, const QString& parentKey,
                                      const QVariant& value);
    // Null for an unknown key.
    virtual QProperty* getProperty(const QString& key);
    // Edits the value of a property.
    virtual bool setData(QProperty* property, const QVariant& value, int role);
    // False for an unknown key.
    virtual bool setData(QString key, const QVariant& value, int role);
    // Deletes all items.
    virtual void clear();
    // Makes the views read everything again.
    virtual void setDataChanged();
    // Whether a column of descriptions exists. Set it before a view is attached: views are not notified.
    virtual void setShowDescription(bool show);
    virtual bool isDescriptionShown() const;
    // The root for an invalid index.
    virtual QProperty* getProperty(const QModelIndex& index) const;
    // Invalid for null and for a column beyond the one after the last.
    virtual QModelIndex getIndexFromProperty(QProperty* property, int column) const;
    // Forgets the first key of the property, which stays in the tree.
    virtual void deletePropertyFromMaps(QProperty* property);
    virtual void addPropertyToMaps(QProperty* property, const QString& key);

public slots:
    // Call it after QProperty::setValue(): views show the new value. No edit is announced, so changes by the
    // program are not mistaken for the user's.
    void onDataChangedByModel(QProperty* property);

signals:
    // The value of the property was edited. A slot may clear the model, or delete it.
    void onDataChangedByEditor(QProperty* property);

private:
    QMap<QString, QProperty*> propertyByKey;
    std::unique_ptr<QProperty> root;
    std::array<QString, 3> headers;
    bool showDescription = false;
};

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
