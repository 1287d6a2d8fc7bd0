#include "chain/DeviceChoice.h"

#include "chain/DeviceDialog.h"
#include "host/DeviceMask.h"

namespace ombrel::workbench {

void DeviceChoice::ask(QWidget& parentOfDialog) {
    DeviceDialog dialog(workspace.device(), &parentOfDialog);
    if (dialog.exec() == QDialog::Accepted)
        tryOut(dialog.device());
}

// Where files are read.
void DeviceChoice::tryOut(const DeviceState& device) {
    worker.run([this, device, facts = workspace.facts()](StackViewer&) {
        if (!device.mask.empty())
            readDeviceMask(device.mask, facts.width, facts.height);
        const auto done = [this, device, opening = facts.opening] { takeOver(device, opening); };
        QMetaObject::invokeMethod(this, done, Qt::QueuedConnection);
    });
}

void DeviceChoice::takeOver(const DeviceState& device, int opening) {
    if (opening == workspace.wanted().opening) // else other files are wanted meanwhile
        workspace.setDevice(device);
}

} // namespace ombrel::workbench
