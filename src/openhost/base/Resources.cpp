#include "base/Resources.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <thread>
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

namespace {

unsigned allowedProcessors() {
    cpu_set_t allowed;
    // Fails on machines with more processors than the set has bits.
    if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return std::thread::hardware_concurrency();
    return static_cast<unsigned>(CPU_COUNT(&allowed));
}

// "QUOTA PERIOD", the time on processors in a time on the clock, or "max PERIOD".
unsigned processorsOfGroup() {
    std::ifstream file("/sys/fs/cgroup/cpu.max");
    zt::u64 quota = 0;
    zt::u64 period = 0;
    if (!(file >> quota >> period) || period == 0)
        return std::numeric_limits<unsigned>::max();
    return static_cast<unsigned>((quota + period - 1) / period);
}

} // namespace

unsigned availableProcessors() {
    return std::max(1U, std::min(allowedProcessors(), processorsOfGroup()));
}

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

zt::u64 peakMemory() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<zt::u64>(usage.ru_maxrss) << 10;
}

std::string processorName() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("model name"))
            return line.substr(std::min(line.find(": "), line.size() - 2) + 2);
    return {};
}

} // namespace ombrel
