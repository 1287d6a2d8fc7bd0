#include "standalone/cli/SideFile.h"

#include "standalone/Error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ombrel::cli {

void writeThroughSideFile(const std::string& path,
                          const std::function<bool(const std::string& side)>& write) {
    const std::string side = path + ".part";
    if (!write(side)) {
        std::remove(side.c_str());
        throw Error(path + ": can't write the file");
    }
    if (std::rename(side.c_str(), path.c_str()) != 0) {
        const int error = errno;
        std::remove(side.c_str());
        throw Error(path + ": can't write the file: " + std::strerror(error));
    }
}

} // namespace ombrel::cli
