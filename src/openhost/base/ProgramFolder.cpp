#include "base/ProgramFolder.h"

namespace ombrel {

std::filesystem::path programFolder() {
    std::error_code unknown;
    return std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path();
}

} // namespace ombrel
