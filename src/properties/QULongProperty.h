#pragma once

#include "properties/QProperty.h"

// An unsigned 64-bit integer within limits. Its editor works within int: value and limits are cut to their
// low 32 bits, so that limits of the full range leave the box nothing but -1.
class QULongProperty : public QProperty {
public:
    QULongProperty(const QString& name, unsigned long long value, unsigned long long min,
                   unsigned long long max, bool editable);
    QULongProperty(const QString& name, const QString& description, unsigned long long value,
                   unsigned long long min, unsigned long long max, bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;

    // For editors made from now on; one that is open keeps its range.
    virtual void setMinMax(unsigned long long lowest, unsigned long long highest);

private:
    unsigned long long min;
    unsigned long long max;
};
