#include "filters/SubFrameQuestion.h"

#include "dialogs/WindowSystem.h"

#include <QInputDialog>
#include <QStringList>

namespace PluginOmbrel {

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
