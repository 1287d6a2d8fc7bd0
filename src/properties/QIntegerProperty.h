#pragma once

#include "properties/QProperty.h"

// A 32-bit integer within limits, edited in a spin box.
class QIntegerProperty : public QProperty {
public:
    QIntegerProperty(const QString& name, int value, int min, int max, bool editable);
    QIntegerProperty(const QString& name, const QString& description, int value, int min, int max,
                     bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;

    // For editors made from now on; one that is open keeps its range.
    virtual void setMinMax(int lowest, int highest);

private:
    int min;
    int max;
};
