#pragma once

#include "model/DeviceState.h"

#include <QDialog>

class QDoubleSpinBox;
class QLineEdit;

namespace ombrel::workbench {

// Asks for what the files do not say of the detector.
class DeviceDialog final : public QDialog {
    Q_OBJECT
public:
    explicit DeviceDialog(const DeviceState& device, QWidget* parent = nullptr);

    DeviceState device() const;

private:
    QWidget* makeMaskRow();

    QLineEdit* maskEdit;
    QDoubleSpinBox* timeEdit;
};

} // namespace ombrel::workbench
