#include "standalone/BatchMemory.h"

#include "standalone/BatchRun.h"
#include "standalone/FrameStack.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>

namespace ombrel {

namespace {

constexpr zt::u64 unlimited = std::numeric_limits<zt::u64>::max();

// The number in a file of one, or `otherwise` ("max" stands for no limit there).
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

std::size_t framesInFlight(const BatchPlan& plan) {
    // One with each worker, one that is read and one that is written, and as many that wait for them.
    const std::size_t wanted = 2 * (plan.workers.size() + 2);
    // As read, as a copy in double and as stored.
    const zt::u64 frameBytes = zt::u64{plan.stack.width()} * plan.stack.height() * 3 * sizeof(double);
    const zt::u64 room = availableMemory() / 2 / std::max<zt::u64>(frameBytes, 1);
    return static_cast<std::size_t>(std::clamp<zt::u64>(room, 1, wanted));
}

} // namespace ombrel
