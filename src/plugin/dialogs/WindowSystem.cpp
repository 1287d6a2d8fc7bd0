#include "dialogs/WindowSystem.h"

#include <QApplication>

namespace PluginOmbrel {

bool canShowWindows() {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

} // namespace PluginOmbrel
