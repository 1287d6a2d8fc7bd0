#pragma once

#include "host/Types.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ombrel::simulation {

// What a simulated data set is to hold.
struct SetPlan {
    std::string directory;
    zt::u32 width = 256;
    zt::u32 height = 256;
    zt::u32 frames = 100;
    zt::u32 flats = 20;
    double flux = 5000; // photons a pixel and frame in the middle of the open beam
    std::uint64_t seed = 1;
    bool force = false; // replace files that are there
};

// Images that writeSet() makes, one call of its `advanced` each.
zt::u64 framesOf(const SetPlan& plan);

// Writes the set and returns the paths of its files:
//   frames.h5       /exchange/data: the sample moving through the beam; /exchange/data_white: the open beam
//   simulation.json the plan, and the dead and hot pixels by index
// Throws Error: files that are there (without force), or that can't be written.
std::vector<std::string> writeSet(const SetPlan& plan, const std::function<void()>& advanced);

} // namespace ombrel::simulation
