#include "properties/QStringProperty.h"

#include <utility>

QStringProperty::QStringProperty(const QString& initialName, QString initialValue, bool canEdit)
    : QStringProperty(initialName, {}, std::move(initialValue), canEdit) {}

QStringProperty::QStringProperty(const QString& initialName, const QString& initialDescription,
                                 QString initialValue, bool canEdit)
    : QProperty(initialName, initialDescription, canEdit) {
    storeAs(QMetaType::QString, std::move(initialValue));
}
