#pragma once

#include "base/Console.h"

#include <QApplication>

namespace ombrel::workbench {

// The application of a program that reads its command line by itself. What is thrown while an event is
// handled, say for want of memory, becomes a message and ends no window.
class Application final : public QApplication {
public:
    // Throws Error when there is no display.
    explicit Application(Console& messages);

    bool notify(QObject* receiver, QEvent* event) override;

private:
    Console& console;
};

// Reads the command line, shows the windows that it asks for until they are closed, and returns the exit
// code. Nothing is thrown.
int runWorkbench(int argc, char** argv, Console& console);

} // namespace ombrel::workbench
