#pragma once

#include "properties/QProperty.h"

// A text, edited in Qt's line edit.
class QStringProperty : public QProperty {
public:
    QStringProperty(const QString& name, QString value, bool editable);
    QStringProperty(const QString& name, const QString& description, QString value, bool editable);
};
