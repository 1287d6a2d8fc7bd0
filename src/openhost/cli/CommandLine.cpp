#include "cli/CommandLine.h"

#include "base/ProgramRun.h"

#include <CLI/CLI.hpp>

namespace ombrel::cli {

namespace {

constexpr const char* about = "Corrects recorded frames of pixel detectors with the filters of a plug-in.";

constexpr const char* examples = "Examples:\n"
                                 "  ombrel simulate data\n"
                                 "  ombrel info data/frames.h5\n"
                                 "  ombrel run -f \"Binning 2x2\" data/frames.h5 -o binned.h5\n"
                                 "\n"
                                 "See \"ombrel COMMAND --help\" for the options of a command.";

} // namespace

int runCommandLine(int argc, char** argv, Console& console) {
    if (isWindowCommand(argc, argv))
        execWorkbench(argv, console);
    CLI::App program(about, "ombrel");
    program.footer(examples);

    int exitCode = EXIT_ALL_DONE;
    const CommandContext context{program, console, exitCode};
    addFiltersCommand(context);
    addInfoCommand(context);
    addInspectCommand(context);
    addRunCommand(context);
    addReplayCommand(context);
    addMergeCommand(context);
    addPackCommand(context);
    addClusterCommand(context);
    addCalibrateCommand(context);
    addWindowCommands(context);
    addSimulateCommand(context);
    addBenchCommand(context);

    return runProgram(program, argc, argv, console, exitCode);
}

} // namespace ombrel::cli
