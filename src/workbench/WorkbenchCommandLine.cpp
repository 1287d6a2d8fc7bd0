#include "workbench/WorkbenchCommandLine.h"

#include "standalone/cli/CommandLine.h"
#include "standalone/cli/ConfigureOptions.h"
#include "standalone/cli/GuiOptions.h"
#include "standalone/cli/ProgramRun.h"
#include "workbench/Application.h"
#include "workbench/Configure.h"
#include "workbench/MainWindow.h"

#include <CLI/CLI.hpp>

namespace ombrel::workbench {

namespace {

constexpr const char* about = "The windows of ombrel; \"ombrel gui\" and \"ombrel configure\" start it.";

} // namespace

int runWorkbench(int argc, char** argv, cli::Console& console) {
    CLI::App program(about, "ombrel-workbench");
    cli::ConfigureOptions options;
    cli::addConfigureCommand(program, options).callback([&] {
        Application application(console);
        configure(options, console);
    });
    cli::GuiOptions guiOptions;
    cli::addGuiCommand(program, guiOptions).callback([&] {
        Application application(console);
        MainWindow window(console, guiOptions.plugin);
        window.show();
        if (!guiOptions.inputs.empty())
            window.open(guiOptions.inputs);
        Application::exec();
    });
    return cli::runProgram(program, argc, argv, console, cli::EXIT_ALL_DONE);
}

} // namespace ombrel::workbench
