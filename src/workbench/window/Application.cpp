#include "window/Application.h"

#include "base/Error.h"

#include <QIcon>

#include <exception>

namespace ombrel::workbench {

namespace {

// The toolkit keeps references to what it gets as the command line.
char programName[] = "ombrel-workbench";
char* commandLine[] = {programName, nullptr};
int argumentCount = 1;

// The toolkit ends the program without a display.
int& checkedArgumentCount() {
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        if (!qEnvironmentVariableIsEmpty(name))
            return argumentCount;
    throw Error("there is no display to open a window on (DISPLAY is not set)");
}

} // namespace

Application::Application(Console& messages)
    : QApplication(checkedArgumentCount(), commandLine), console(messages) {
    setApplicationDisplayName("ombrel");
    setDesktopFileName(programName); // where the icon and the menu entry are found
    setWindowIcon(QIcon::fromTheme(programName));
}

bool Application::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::bad_alloc&) {
        console.message("not enough memory");
    } catch (const std::exception& error) {
        console.message(error.what());
    }
    return false;
}

} // namespace ombrel::workbench
