#pragma once

#include "base/Console.h"

#include <QApplication>

namespace ombrel::workbench {

// The application of a program that parses its own command line. An exception during an event (e.g.
// bad_alloc) is reported and closes no window.
class Application final : public QApplication {
public:
    // Throws Error without a display.
    explicit Application(Console& messages);

    bool notify(QObject* receiver, QEvent* event) override;

private:
    Console& console;
};

// Parses the command line, shows the requested windows until they are closed, and returns the exit code. Does
// not throw.
int runWorkbench(int argc, char** argv, Console& console);

} // namespace ombrel::workbench
