#pragma once

#include "properties/QIntegerProperty.h"

// A double within limits, edited in a QPTVDoubleSpinBox. The step of the box is the minimum when that is
// positive, else 0.0001, and its decimals follow from the step, not from the precision: 0.0001 gives 4, 0.25
// gives 0. The integer limits of the base are 0 and mean nothing here.
class QDoubleProperty : public QIntegerProperty {
public:
    QDoubleProperty(const QString& name, double value, double min, double max, int precision, bool editable);
    QDoubleProperty(const QString& name, const QString& description, double value, double min, double max,
                    int precision, bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;

    // For editors made from now on; one that is open keeps its range.
    virtual void setMinMaxPrec(double lowest, double highest, int decimals);

private:
    int precision;
    double min;
    double max;
};
