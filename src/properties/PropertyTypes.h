#pragma once

#include "properties/QProperty.h"

#include <QComboBox>
#include <QPointer>

// A boolean, shown as "Yes" or "No" beside a check box and toggled by that, without an editor. Read-only, its
// value cell is not even enabled. Every edit counts as a change.
class QBoolProperty : public QProperty {
public:
    QBoolProperty(const QString& name, bool value, bool editable);
    QBoolProperty(const QString& name, const QString& description, bool value, bool editable);

    // The value's cell returns the boolean itself for every role except text and check state, including
    // StoredValueRole.
    QVariant data(int column, int role) const override;
    // Takes Qt::EditRole, with anything that converts to a boolean, and Qt::CheckStateRole.
    bool setData(const QVariant& newValue, int role) override;
    Qt::ItemFlags flags(int column) const override;
};

// A 32-bit integer within limits, edited in a spin box.
class QIntegerProperty : public QProperty {
public:
    QIntegerProperty(const QString& name, int value, int min, int max, bool editable);
    QIntegerProperty(const QString& name, const QString& description, int value, int min, int max,
                     bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;

    // Applies to new editors; an open one keeps its range.
    virtual void setMinMax(int lowest, int highest);

private:
    int min;
    int max;
};

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

    // Applies to new editors; an open one keeps its range.
    virtual void setMinMax(long long lowest, long long highest);

private:
    long long min;
    long long max;
};

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

    // Applies to new editors; an open one keeps its range.
    virtual void setMinMax(unsigned long long lowest, unsigned long long highest);

private:
    unsigned long long min;
    unsigned long long max;
};

// A double within limits, edited in a QPTVDoubleSpinBox. The step of the box is the minimum when that is
// positive, else 0.0001, and its decimals follow from the step, not from the precision: 0.0001 gives 4, 0.25
// gives 0. The integer limits of the base are 0 and unused here.
class QDoubleProperty : public QIntegerProperty {
public:
    QDoubleProperty(const QString& name, double value, double min, double max, int precision, bool editable);
    QDoubleProperty(const QString& name, const QString& description, double value, double min, double max,
                    int precision, bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;

    // Applies to new editors; an open one keeps its range.
    virtual void setMinMaxPrec(double lowest, double highest, int decimals);

private:
    int precision;
    double min;
    double max;
};

// A text, edited in Qt's line edit.
class QStringProperty : public QProperty {
public:
    QStringProperty(const QString& name, QString value, bool editable);
    QStringProperty(const QString& name, const QString& description, QString value, bool editable);
};

// A choice among texts, edited in a combo box. Its value is the chosen text, which need not be in the list;
// the box then shows the first of the list.
class QListProperty : public QProperty {
public:
    QListProperty(const QString& name, bool editable);
    QListProperty(const QString& name, const QString& description, bool editable);

    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    // The text in the box; the stored value when the widget is not a combo box.
    QVariant getEditorData(QWidget* editor) const override;

    // Applies to new editors; an open one keeps its list.
    virtual void setList(QList<QString> texts);
    // Also in the latest editor, while it exists.
    virtual void setSelectedText(QString text);
    // The text in the latest editor while it exists, even if it is not committed; else the value.
    virtual QString selectedText() const;

private:
    // The view that requested the editor may delete it at any time.
    QPointer<QComboBox> comboBox;
    QList<QString> list;
};

// A heading: a name in bold on grey, with an empty value and no editor. It is never editable.
class QEmptyProperty : public QProperty {
public:
    explicit QEmptyProperty(const QString& name);

    QVariant data(int column, int role) const override;
    QWidget* createEditor(QWidget* editorParent, const QStyleOptionViewItem& option,
                          const QAbstractItemDelegate* delegate) override;
    QVariant getEditorData(QWidget* editor) const override;
    Qt::ItemFlags flags(int column) const override;
};
