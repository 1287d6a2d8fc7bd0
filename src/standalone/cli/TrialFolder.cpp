#include "standalone/cli/TrialFolder.h"

#include "standalone/Error.h"
#include "standalone/FileDescriptor.h"

#include <cerrno>
#include <cstdlib>

namespace ombrel::cli {

TrialFolder::TrialFolder(const std::filesystem::path& parent) {
    std::string pattern = (parent / ".ombrel-trial-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw Error(
            systemErrorText(parent.empty() ? "." : parent.string(), "can't make a folder in it", errno));
    path = pattern;
}

TrialFolder::~TrialFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

} // namespace ombrel::cli
