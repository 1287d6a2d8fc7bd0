#include "base/ProgramRun.h"
#include "window/WorkbenchCommandLine.h"

int main(int argc, char** argv) {
    return ombrel::runMain(argc, argv, ombrel::workbench::runWorkbench);
}
