#include "standalone/cli/WorkbenchProgram.h"

#include "standalone/Error.h"
#include "standalone/ProgramFolder.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace ombrel::cli {

void becomeWorkbench(const std::vector<std::string>& arguments) {
    const std::string path = (programFolder() / "ombrel-workbench").string();
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(path.c_str(), argv.data());
    throw Error(path + ": the workbench can't be started: " + std::strerror(errno));
}

} // namespace ombrel::cli
