#include "base/MemoryBudget.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>

namespace ombrel {

namespace {

constexpr zt::u64 unlimited = std::numeric_limits<zt::u64>::max();

// The number in a file, or `otherwise` if the file does not hold one (such as "max", no limit).
zt::u64 numberIn(const char* path, zt::u64 otherwise) {
    std::ifstream file(path);
    zt::u64 number = 0;
    return file >> number ? number : otherwise;
}

zt::u64 freeOnMachine() {
    std::ifstream file("/proc/meminfo");
    std::string name;
    std::string unit;
    zt::u64 kibibytes = 0;
    while (file >> name >> kibibytes) {
        if (name == "MemAvailable:")
            return kibibytes << 10;
        std::getline(file, unit);
    }
    return unlimited;
}

zt::u64 freeInGroup() {
    const zt::u64 limit = numberIn("/sys/fs/cgroup/memory.max", unlimited);
    const zt::u64 used = numberIn("/sys/fs/cgroup/memory.current", 0);
    return limit == unlimited ? unlimited : limit - std::min(limit, used);
}

} // namespace

zt::u64 availableMemory() {
    return std::min(freeOnMachine(), freeInGroup());
}

zt::u64 residentMemory() {
    std::ifstream file("/proc/self/statm");
    zt::u64 total = 0;
    zt::u64 resident = 0;
    file >> total >> resident;
    return resident * static_cast<zt::u64>(::sysconf(_SC_PAGESIZE));
}

} // namespace ombrel
