#include "base/ProgramRun.h"
#include "cli/CommandLine.h"

int main(int argc, char** argv) {
    return ombrel::runMain(argc, argv, ombrel::cli::runCommandLine);
}
