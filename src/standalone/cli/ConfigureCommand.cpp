#include "standalone/cli/Commands.h"
#include "standalone/cli/ConfigureOptions.h"
#include "standalone/cli/FrameSize.h"
#include "standalone/cli/RunPaths.h"
#include "standalone/cli/WorkbenchProgram.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

namespace {

CommandPaths pathsOf(const ConfigureOptions& options) {
    CommandPaths paths;
    if (!options.frames.empty())
        addInput(paths, options.frames);
    addPlugin(paths, options.plugin);
    paths.writes(options.settings, "the settings file", WhenThere::Replace);
    addFilesOfSettings(paths, options.filter, options.settings);
    return paths;
}

} // namespace

void addConfigureCommand(const CommandContext& context) {
    auto options = std::make_shared<ConfigureOptions>();
    addConfigureCommand(context.program, *options).callback([=, &console = context.console] {
        // Before a display is looked for.
        if (!options->size.empty())
            parseFrameSize("--size", options->size);
        pathsOf(*options).check(console);
        becomeWorkbench(argumentsOf(*options));
    });
}

} // namespace ombrel::cli
