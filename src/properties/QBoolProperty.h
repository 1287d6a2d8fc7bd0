#pragma once

#include "properties/QProperty.h"

// A boolean, shown as "Yes" or "No" beside a check box and toggled by that, without an editor. Read-only, its
// value cell is not even enabled. Every edit counts as a change.
class QBoolProperty : public QProperty {
public:
    QBoolProperty(const QString& name, bool value, bool editable);
    QBoolProperty(const QString& name, const QString& description, bool value, bool editable);

    // The value's cell answers every role but those for text and check state with the boolean itself, above
    // all StoredValueRole.
    QVariant data(int column, int role) const override;
    // Takes Qt::EditRole, with anything that converts to a boolean, and Qt::CheckStateRole.
    bool setData(const QVariant& newValue, int role) override;
    Qt::ItemFlags flags(int column) const override;
};
