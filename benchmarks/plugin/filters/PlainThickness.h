#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

// The beam-hardening correction implemented literally, pixel by pixel and mask by mask.
struct PlainThickness {
    std::vector<const double*> masks; // logarithms of the count rate
    std::vector<double> thickness;

    void correct(double* pixels, std::size_t count, double acqTime) const {
        for (std::size_t i = 0; i < count; ++i)
            pixels[i] = pixels[i] <= 0 ? 0 : thicknessOf(std::log(pixels[i] / acqTime), i);
    }

private:
    double thicknessOf(double level, std::size_t at) const {
        const std::size_t last = masks.size() - 1;
        std::size_t below = 0; // how many masks the level is below, from the first on
        while (below <= last && level < masks[below][at])
            ++below;
        const std::size_t lower = below == 0 ? 0 : below > last ? last - 1 : below - 1;
        const double run = masks[lower + 1][at] - masks[lower][at];
        if (run == 0)
            return 0;
        const double rise = thickness[lower + 1] - thickness[lower];
        return (level - masks[lower][at]) * (rise / run) + thickness[lower];
    }
};
