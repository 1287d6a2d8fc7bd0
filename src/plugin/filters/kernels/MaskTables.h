#pragma once

#include <cstddef>
#include <vector>

namespace PluginOmbrel {

// The masks as a walk sees them, in the order of ascending thickness.
class MaskTables {
public:
    // So many masks may be looked at from any one on; beyond the last they are the last.
    static constexpr std::size_t reach = 9;

    void clear();
    // `values` are logarithms of the count rate, one a pixel. They stay the caller's.
    void add(const double* values, double thickness);

    std::size_t count() const { return maskCount; }
    const double* operator[](std::size_t mask) const { return values[mask]; }
    const double* const* from(std::size_t mask) const { return values.data() + mask; }
    // Two a mask: its thickness, and the rise to that of the next one. The last rise has no meaning.
    const double* lines() const { return steps.data(); }

private:
    std::vector<const double*> values;
    std::vector<double> steps;
    std::size_t maskCount = 0;
};

} // namespace PluginOmbrel
