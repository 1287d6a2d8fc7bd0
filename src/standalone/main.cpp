#include "standalone/cli/CommandLine.h"
#include "standalone/cli/ProgramRun.h"

int main(int argc, char** argv) {
    return ombrel::cli::runMain(argc, argv, ombrel::cli::runCommandLine);
}
