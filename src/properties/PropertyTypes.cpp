#include "properties/PropertyTypes.h"

#include "properties/QPropertyModel.h"
#include "properties/SpinBoxEditor.h"

#include <QBrush>
#include <QFont>
#include <QSpinBox>

#include <cmath>
#include <utility>

QBoolProperty::QBoolProperty(const QString& initialName, bool initialValue, bool canEdit)
    : QBoolProperty(initialName, {}, initialValue, canEdit) {}

QBoolProperty::QBoolProperty(const QString& initialName, const QString& initialDescription, bool initialValue,
                             bool canEdit)
    : QProperty(initialName, initialDescription, canEdit) {
    storeAs(QMetaType::Bool, initialValue);
}

QVariant QBoolProperty::data(int column, int role) const {
    if (column != PropertyColumn::Value)
        return QProperty::data(column, role);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return QString(value.toBool() ? "Yes" : "No");
    case Qt::CheckStateRole:
        return static_cast<int>(value.toBool() ? Qt::Checked : Qt::Unchecked);
    default:
        return value;
    }
}

bool QBoolProperty::setData(const QVariant& newValue, int role) {
    switch (role) {
    case Qt::EditRole:
        storeAs(QMetaType::Bool, newValue);
        return true;
    case Qt::CheckStateRole:
        value = newValue.toInt() == Qt::Checked;
        return true;
    default:
        return false;
    }
}

Qt::ItemFlags QBoolProperty::flags(int column) const {
    if (column != PropertyColumn::Value)
        return QProperty::flags(column);
    return isEditable() ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable
                        : Qt::NoItemFlags;
}

QIntegerProperty::QIntegerProperty(const QString& initialName, int initialValue, int lowest, int highest,
                                   bool canEdit)
    : QIntegerProperty(initialName, {}, initialValue, lowest, highest, canEdit) {}

QIntegerProperty::QIntegerProperty(const QString& initialName, const QString& initialDescription,
                                   int initialValue, int lowest, int highest, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit), min(lowest), max(highest) {
    storeAs(QMetaType::Int, initialValue);
}

QWidget* QIntegerProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                        const QAbstractItemDelegate*) {
    QSpinBox* const box = makeSpinBox(editorParent, min, max, value.toInt());
    fitEditor(*box);
    return box;
}

QVariant QIntegerProperty::getEditorData(QWidget* editor) const {
    return spinBoxValue(editor);
}

void QIntegerProperty::setMinMax(int lowest, int highest) {
    min = lowest;
    max = highest;
}

QLongProperty::QLongProperty(const QString& initialName, long long initialValue, long long lowest,
                             long long highest, bool canEdit)
    : QLongProperty(initialName, {}, initialValue, lowest, highest, canEdit) {}

QLongProperty::QLongProperty(const QString& initialName, const QString& initialDescription,
                             long long initialValue, long long lowest, long long highest, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit), min(lowest), max(highest) {
    storeAs(QMetaType::LongLong, initialValue);
}

QWidget* QLongProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                     const QAbstractItemDelegate*) {
    QSpinBox* const box =
        makeSpinBox(editorParent, static_cast<int>(min), static_cast<int>(max), value.toInt());
    fitEditor(*box);
    return box;
}

QVariant QLongProperty::getEditorData(QWidget* editor) const {
    return spinBoxValue(editor);
}

void QLongProperty::setMinMax(long long lowest, long long highest) {
    min = lowest;
    max = highest;
}

QULongProperty::QULongProperty(const QString& initialName, unsigned long long initialValue,
                               unsigned long long lowest, unsigned long long highest, bool canEdit)
    : QULongProperty(initialName, {}, initialValue, lowest, highest, canEdit) {}

QULongProperty::QULongProperty(const QString& initialName, const QString& initialDescription,
                               unsigned long long initialValue, unsigned long long lowest,
                               unsigned long long highest, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit), min(lowest), max(highest) {
    storeAs(QMetaType::ULongLong, initialValue);
}

QWidget* QULongProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                      const QAbstractItemDelegate*) {
    QSpinBox* const box =
        makeSpinBox(editorParent, static_cast<int>(min), static_cast<int>(max), value.toInt());
    fitEditor(*box);
    return box;
}

QVariant QULongProperty::getEditorData(QWidget* editor) const {
    return spinBoxValue(editor);
}

void QULongProperty::setMinMax(unsigned long long lowest, unsigned long long highest) {
    min = lowest;
    max = highest;
}

QDoubleProperty::QDoubleProperty(const QString& initialName, double initialValue, double lowest,
                                 double highest, int decimals, bool canEdit)
    : QDoubleProperty(initialName, {}, initialValue, lowest, highest, decimals, canEdit) {}

QDoubleProperty::QDoubleProperty(const QString& initialName, const QString& initialDescription,
                                 double initialValue, double lowest, double highest, int decimals,
                                 bool canEdit)
    : QIntegerProperty(initialName, initialDescription, 0, 0, 0, canEdit), precision(decimals), min(lowest),
      max(highest) {
    storeAs(QMetaType::Double, initialValue);
}

QWidget* QDoubleProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                       const QAbstractItemDelegate*) {
    auto* const box = new QPTVDoubleSpinBox(editorParent);
    // The limits are rounded to the decimals that the box has when they are set.
    box->setMinimum(min);
    box->setMaximum(max);
    box->setDecimals(precision);
    box->setSingleStep(min > 0 ? min : 0.0001);
    box->setDecimals(static_cast<int>(std::fabs(std::log10(box->singleStep()))));
    box->setValue(value.toDouble());
    takeEitherSeparator(*box);
    fitEditor(*box);
    return box;
}

QVariant QDoubleProperty::getEditorData(QWidget* editor) const {
    const auto* const box = qobject_cast<QPTVDoubleSpinBox*>(editor);
    return box ? QVariant(box->value()) : QVariant(0);
}

void QDoubleProperty::setMinMaxPrec(double lowest, double highest, int decimals) {
    min = lowest;
    max = highest;
    precision = decimals;
}

QStringProperty::QStringProperty(const QString& initialName, QString initialValue, bool canEdit)
    : QStringProperty(initialName, {}, std::move(initialValue), canEdit) {}

QStringProperty::QStringProperty(const QString& initialName, const QString& initialDescription,
                                 QString initialValue, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit) {
    storeAs(QMetaType::QString, std::move(initialValue));
}

QListProperty::QListProperty(const QString& initialName, bool canEdit)
    : QListProperty(initialName, {}, canEdit) {}

QListProperty::QListProperty(const QString& initialName, const QString& initialDescription, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit) {}

QWidget* QListProperty::createEditor(QWidget* editorParent, const QStyleOptionViewItem&,
                                     const QAbstractItemDelegate*) {
    comboBox = new QComboBox(editorParent);
    comboBox->insertItems(comboBox->count(), list);
    fitEditor(*comboBox);
    comboBox->setCurrentText(value.toString());
    return comboBox;
}

QVariant QListProperty::getEditorData(QWidget* editor) const {
    const auto* const box = qobject_cast<QComboBox*>(editor);
    return box ? box->currentText() : value;
}

void QListProperty::setList(QList<QString> texts) {
    list = std::move(texts);
}

void QListProperty::setSelectedText(QString text) {
    value = text;
    if (comboBox)
        comboBox->setCurrentText(text);
}

QString QListProperty::selectedText() const {
    return comboBox ? comboBox->currentText() : value.toString();
}

QEmptyProperty::QEmptyProperty(const QString& initialName) : QProperty(initialName, false) {}

QVariant QEmptyProperty::data(int column, int role) const {
    if (column == PropertyColumn::Value && (role == Qt::DisplayRole || role == Qt::EditRole))
        return {};
    if (role == Qt::FontRole) {
        QFont bold;
        bold.setWeight(QFont::Bold);
        return bold;
    }
    if (role == Qt::BackgroundRole)
        return QBrush(QColor(217, 217, 217));
    return QProperty::data(column, role);
}

QWidget* QEmptyProperty::createEditor(QWidget*, const QStyleOptionViewItem&, const QAbstractItemDelegate*) {
    return nullptr;
}

QVariant QEmptyProperty::getEditorData(QWidget*) const {
    return {};
}

Qt::ItemFlags QEmptyProperty::flags(int) const {
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
}
