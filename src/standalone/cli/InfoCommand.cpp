#include "standalone/Error.h"
#include "standalone/FileReport.h"
#include "standalone/cli/CommandLine.h"
#include "standalone/cli/Commands.h"

#include <memory>
#include <string>
#include <vector>

namespace ombrel::cli {

namespace {

// A file that can't be read is told, and the others are shown all the same.
int showFiles(const std::vector<std::string>& files, Console& console) {
    int exitCode = EXIT_ALL_DONE;
    for (const std::string& file : files) {
        try {
            console.result(fileReportText(reportOnFile(file)));
        } catch (const Error& error) {
            console.message(error.what());
            exitCode = EXIT_FAILED;
        }
    }
    return exitCode;
}

} // namespace

void addInfoCommand(const CommandContext& context) {
    auto files = std::make_shared<std::vector<std::string>>();
    CLI::App* command =
        context.program.add_subcommand("info", "Show what files hold: kind, frames, size, type, range");
    command->add_option("FILE", *files, "Frame files; of an HDF5 file one dataset by FILE::/path/of/dataset")
        ->required()
        ->type_name("PATH");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = showFiles(*files, console);
    });
}

} // namespace ombrel::cli
