#include "standalone/cli/ProgramRun.h"
#include "workbench/WorkbenchCommandLine.h"

int main(int argc, char** argv) {
    return ombrel::cli::runMain(argc, argv, ombrel::workbench::runWorkbench);
}
