#include "standalone/cli/Console.h"
#include "workbench/WorkbenchCommandLine.h"

int main(int argc, char** argv) {
    ombrel::cli::Console console;
    return ombrel::workbench::runWorkbench(argc, argv, console);
}
