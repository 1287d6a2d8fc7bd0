#pragma once

#include "model/Workspace.h"
#include "worker/FrameWorker.h"

#include <QDialog>
#include <QObject>

class QWidget;

class QDoubleSpinBox;
class QLineEdit;

namespace ombrel::workbench {

// Asks the user for what the files do not tell of the detector, and tries it before the workspace gets it: a
// mask that does not fit leaves all as it is, and its failure is logged by the worker.
class DeviceChoice final : public QObject {
    Q_OBJECT
public:
    DeviceChoice(Workspace& model, FrameWorker& frameWorker) : workspace(model), worker(frameWorker) {}

    void ask(QWidget& parentOfDialog);

private:
    void tryOut(const DeviceState& device);
    void takeOver(const DeviceState& device, int opening);

    Workspace& workspace;
    FrameWorker& worker;
};

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
