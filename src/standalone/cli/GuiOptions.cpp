#include "standalone/cli/GuiOptions.h"

#include "standalone/cli/CommonOptions.h"

#include <CLI/CLI.hpp>

namespace ombrel::cli {

CLI::App& addGuiCommand(CLI::App& program, GuiOptions& options) {
    CLI::App* command =
        program.add_subcommand("gui", "Open the workbench: frames before and behind a chain of filters");
    command
        ->add_option("INPUT", options.inputs,
                     "Frame files; of an HDF5 file one dataset by FILE::/path/of/dataset")
        ->type_name("FILE");
    addPluginOption(*command, options.plugin);
    command->footer("Examples:\n"
                    "  ombrel gui\n"
                    "  ombrel gui frames.h5");
    return *command;
}

std::vector<std::string> argumentsOf(const GuiOptions& options) {
    std::vector<std::string> arguments{"gui"};
    if (!options.plugin.empty())
        arguments.push_back("--plugin=" + options.plugin);
    arguments.push_back("--");
    arguments.insert(arguments.end(), options.inputs.begin(), options.inputs.end());
    return arguments;
}

} // namespace ombrel::cli
