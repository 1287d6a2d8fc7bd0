#include "dialogs/DlgBHStg.h"
#include "dialogs/WindowSystem.h"
#include "filters/BHFilter.h"

#include <memory>

namespace PluginOmbrel {

void BHFilter::showConfigGUI() {
    if (!canShowWindows()) {
        logError(0, "Cannot show the beam-hardening settings: the host has no windows");
        return;
    }
    if (!configDialog) {
        // From here on it belongs to the host's windows.
        configDialog = std::make_unique<DlgBHStg>(nullptr, this, host).release();
        leaveConfigDialog = [this] { configDialog->letGo(); };
    }
    configDialog->showDialog();
}

} // namespace PluginOmbrel
