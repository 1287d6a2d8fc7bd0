#include "standalone/cli/CommandLine.h"
#include "standalone/cli/Console.h"

int main(int argc, char** argv) {
    ombrel::cli::Console console;
    return ombrel::cli::runCommandLine(argc, argv, console);
}
