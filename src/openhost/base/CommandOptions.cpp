#include "base/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace ombrel {

void addPluginOption(CLI::App& command, std::string& plugin) {
    command.add_option("--plugin", plugin, "The plug-in's library, where it is not the installed one")
        ->type_name("FILE");
}

void addLogOption(CLI::App& command, std::string& log) {
    command.add_option("--log", log, "Append messages to a file, and what filters print")->type_name("FILE");
}

void addJobsOption(CLI::App& command, unsigned& jobs, const std::string& promise) {
    command.add_option("-j,--jobs", jobs, "Correct so many frames at once" + promise)
        ->check(wholeNumber(1, 1024))
        ->type_name("N")
        ->capture_default_str();
}

} // namespace ombrel
