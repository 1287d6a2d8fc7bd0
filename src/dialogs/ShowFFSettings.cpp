#include "dialogs/DlgFFStg.h"
#include "dialogs/WindowSystem.h"
#include "filters/FFFilter.h"

namespace PluginOmbrel {

void FFFilter::showConfigGUI() {
    if (!canShowWindows()) {
        logError(0, "Cannot show the flat-field settings: the host has no windows");
        return;
    }
    DlgFFStg(nullptr, this).exec();
    saveToSettingsFile();
}

} // namespace PluginOmbrel
