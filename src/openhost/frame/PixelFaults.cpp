#include "frame/PixelFaults.h"

#include <algorithm>
#include <map>

namespace ombrel {

namespace {

struct Reason {
    zt::u32 bits;
    const char* name;
};

// Reasons that include others come first: each takes its bits.
constexpr Reason reasons[] = {
    {fault::flickering, "flickering"},
    {fault::bursting, "bursting"},
    {fault::notFinite, "not finite"},
    {fault::gap, "gap"},
    {fault::dead, "dead"},
    {fault::under, "under-responding"},
    {fault::over, "over-responding"},
    {fault::noisy, "noisy"},
    {1U << 6, "in a cluster"},
    {fault::masked, "masked"},
    {1U << 31, "virtual"},
    {fault::thickness, "thickness masks"},
    {fault::filled, "filled"},
};

// Flickering and bursting share the bit of noisy pixels, so a pixel may have both.
std::vector<std::string> reasonsOf(zt::u32 faults) {
    std::vector<std::string> names;
    zt::u32 explained = 0;
    for (const Reason& reason : reasons)
        if ((faults & reason.bits) == reason.bits && (reason.bits & ~explained) != 0) {
            names.emplace_back(reason.name);
            explained |= reason.bits;
        }
    for (int bit = 0; bit < 32; ++bit)
        if ((faults & ~explained & 1U << bit) != 0)
            names.push_back("bit " + std::to_string(bit));
    return names;
}

} // namespace

std::string faultText(zt::u32 faults) {
    std::string text;
    for (const std::string& name : reasonsOf(faults))
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::vector<std::pair<std::string, zt::u64>> countFaults(std::span<const zt::u32> pixels) {
    std::map<zt::u32, zt::u64> combinations;
    for (const zt::u32 faults : pixels)
        if (faults != 0)
            ++combinations[faults];
    std::vector<std::pair<std::string, zt::u64>> counts;
    for (const auto& [faults, pixelCount] : combinations)
        for (const std::string& name : reasonsOf(faults)) {
            const auto known = std::ranges::find(counts, name, [](const auto& count) { return count.first; });
            if (known == counts.end())
                counts.emplace_back(name, pixelCount);
            else
                known->second += pixelCount;
        }
    return counts;
}

zt::u64 countFaulty(std::span<const zt::u32> pixels) {
    return static_cast<zt::u64>(std::ranges::count_if(
        pixels, [](zt::u32 faults) { return faults != 0; }));
}

} // namespace ombrel
