#include "standalone/cli/Commands.h"
#include "standalone/cli/GuiOptions.h"
#include "standalone/cli/WorkbenchProgram.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

void addGuiCommand(const CommandContext& context) {
    auto options = std::make_shared<GuiOptions>();
    addGuiCommand(context.program, *options).callback([=] { becomeWorkbench(argumentsOf(*options)); });
}

} // namespace ombrel::cli
