#include "base/Error.h"
#include "base/ProgramRun.h"
#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <unistd.h>

namespace ombrel::cli {

namespace {

struct WindowCommand {
    std::string_view name;
    const char* description;
};

constexpr WindowCommand windowCommands[] = {
    {"configure", "Open a filter's settings window, or its parameters"},
    {"gui", "Open the workbench: frames before and after a chain of filters"},
};

} // namespace

void addWindowCommands(const CommandContext& context) {
    for (const auto& [name, description] : windowCommands)
        context.program.add_subcommand(std::string(name), description);
}

bool isWindowCommand(int argc, char** argv) {
    return argc > 1 &&
           std::ranges::find(windowCommands, argv[1], &WindowCommand::name) != std::end(windowCommands);
}

void execWorkbench(char** argv, Console& console) {
    console.releaseOutput();
    const std::string path = (programFolder() / "ombrel-workbench").string();
    execv(path.c_str(), argv);
    throw Error(path + ": the workbench can't be started: " + std::strerror(errno));
}

} // namespace ombrel::cli
