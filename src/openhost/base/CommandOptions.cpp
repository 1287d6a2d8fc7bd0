#include "base/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace ombrel {

void addPluginOption(CLI::App& command, std::string& plugin) {
    command.add_option("--plugin", plugin, "The plug-in library, if not the installed one")
        ->type_name("FILE");
}

void addLogOption(CLI::App& command, std::string& log) {
    command.add_option("--log", log, "Append messages and the output of filters to a file")
        ->type_name("FILE");
}

void addJobsOption(CLI::App& command, std::optional<unsigned>& jobs, const std::string& promise) {
    command
        .add_option("-j,--jobs", jobs,
                    "Correct this many frames in parallel, if not one per processor" + promise)
        ->check(wholeNumber(1, 1024))
        ->type_name("N");
}

} // namespace ombrel
