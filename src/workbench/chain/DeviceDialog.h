#pragma once

#include "model/Workspace.h"
#include "worker/FrameWorker.h"

#include <QDialog>
#include <QObject>

class QWidget;

class QDoubleSpinBox;
class QLineEdit;

namespace ombrel::workbench {

// Asks the user for detector facts that are missing from the files, and checks them before they reach the
// workspace: a mask that does not fit changes nothing, and the worker logs the failure.
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

// Asks for detector facts that are missing from the files.
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
