#include "standalone/cli/Commands.h"
#include "standalone/cli/ConfigureOptions.h"
#include "standalone/cli/FrameSize.h"
#include "standalone/cli/WorkbenchProgram.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

void addConfigureCommand(const CommandContext& context) {
    auto options = std::make_shared<ConfigureOptions>();
    addConfigureCommand(context.program, *options).callback([=] {
        if (!options->size.empty())
            parseFrameSize("--size", options->size); // before a display is looked for
        becomeWorkbench(argumentsOf(*options));
    });
}

} // namespace ombrel::cli
