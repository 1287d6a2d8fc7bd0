#pragma once

#include "properties/QProperty.h"

// A signed 64-bit integer within limits. Its editor works within int: value and limits are cut to their low
// 32 bits, so that limits of the full range leave the box nothing but -1.
class QLongProperty : public QProperty {
public:
    QLongProperty(const QString& name, long long value, long long min, long long max, bool editable);
    QLongProperty(const QString& name, const QString& description, long long value, long long min,
                  long long max, bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;

    // For editors made from now on; one that is open keeps its range.
    virtual void setMinMax(long long lowest, long long highest);

private:
    long long min;
    long long max;
};
