#include "dialogs/DlgFFStg.h"
#include "dialogs/WindowSystem.h"
#include "filters/FFFilter.h"

namespace PluginOmbrel {

void FFFilter::showConfigGUI() {
    if (!canShowWindows()) {
        logError(0, "Cannot show the flat-field settings: the host has no windows");
        return;
    }
    const std::weak_ptr<const void> stillThere = lifetime();
    DlgFFStg(nullptr, this).exec();
    if (!stillThere.expired())
        saveToSettingsFile();
}

} // namespace PluginOmbrel
