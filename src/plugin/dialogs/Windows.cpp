#include "dialogs/Windows.h"

#include "dialogs/DlgBHStg.h"
#include "dialogs/DlgFFStg.h"
#include "filters/BHFilter.h"
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"

#include <QApplication>
#include <QInputDialog>
#include <QStringList>

#include <memory>

namespace PluginOmbrel {

bool canShowWindows() {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

void BHFilter::showConfigGUI() {
    if (!canShowWindows()) {
        logError(0, "Cannot show the beam-hardening settings: the host has no windows");
        return;
    }
    if (!configDialog) {
        // The host's windows own it from here on.
        configDialog = std::make_unique<DlgBHStg>(nullptr, this, host).release();
        leaveConfigDialog = [this] { configDialog->letGo(); };
    }
    configDialog->showDialog();
}

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

int askForSubFrame(const zt::IMpxFrame& frame, const char* label) {
    if (!canShowWindows())
        return -1;
    QStringList names;
    for (const zt::IMpxFrame* subFrame : frame.subFrames())
        names << QString::fromStdString(subFrame->frameName());
    bool accepted = false;
    const QString choice =
        QInputDialog::getItem(nullptr, "Sub-frame selection", label, names, 0, false, &accepted);
    return accepted && !choice.isEmpty() ? static_cast<int>(names.indexOf(choice)) : -1;
}

} // namespace PluginOmbrel
