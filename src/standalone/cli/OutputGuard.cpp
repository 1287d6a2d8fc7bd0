#include "standalone/cli/OutputGuard.h"

#include "standalone/Error.h"

#include <filesystem>

namespace ombrel::cli {

void checkOutputPath(const std::string& output, bool force, std::span<const std::string> inputs) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    for (const std::string& input : inputs)
        if (fs::equivalent(output, input.substr(0, input.find("::/")), ignored))
            throw Error(output + ": is an input; choose another output");
    if (fs::is_directory(output, ignored))
        throw Error(output + ": is a directory; choose a file as output");
    if (!force && fs::exists(fs::symlink_status(output, ignored)))
        throw Error(output + ": exists; give --force to replace it");
}

} // namespace ombrel::cli
