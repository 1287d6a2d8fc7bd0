#include "standalone/cli/ConfigureOptions.h"

#include "standalone/cli/CommonOptions.h"

#include <CLI/CLI.hpp>

namespace ombrel::cli {

CLI::App& addConfigureCommand(CLI::App& program, ConfigureOptions& options) {
    CLI::App* command =
        program.add_subcommand("configure", "Open a filter's settings window, or its parameters");
    command->add_option("FILTER", options.filter, "The filter's name")->required()->type_name("NAME");
    command
        ->add_option("--settings", options.settings,
                     "The settings file, made when the window closes where there is none")
        ->required()
        ->type_name("FILE.xml");
    CLI::Option* frames = command->add_option("--frames", options.frames,
                                              "Frames that the device is to have measured last, of its size");
    frames->type_name("FILE");
    command->add_option("--size", options.size, "Size of the device")->type_name("WxH")->excludes(frames);
    addPluginOption(*command, options.plugin);
    command->footer("Example:\n"
                    "  ombrel configure Flat-Field --settings ff.xml --frames flats.tif");
    return *command;
}

std::vector<std::string> argumentsOf(const ConfigureOptions& options) {
    std::vector<std::string> arguments{"configure", "--settings=" + options.settings};
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty())
            arguments.push_back(name + "=" + value);
    };
    add("--frames", options.frames);
    add("--size", options.size);
    add("--plugin", options.plugin);
    arguments.insert(arguments.end(), {"--", options.filter});
    return arguments;
}

} // namespace ombrel::cli
