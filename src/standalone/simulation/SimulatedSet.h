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
    double flux = 5000;      // photons a pixel and frame in the middle of the open beam
    zt::u32 gridSteps = 3;   // values of each setting in the adaptive filter's grid; 0: none, else 2 or more
    zt::u32 wedgeSteps = 10; // thicknesses of the beam-hardening filter's wedge, 0.3 mm apart; 0: none
    std::uint64_t seed = 1;
    bool force = false; // replace files that are there
};

// Images that writeSet() makes.
zt::u64 imagesOf(const SetPlan& plan);

// Writes the set, calls `advanced` once an image, and returns the paths of its files. simulation.json tells
// the plan and lists the dead and hot pixels by index; the other files are told at their parts. The same plan
// gives the same pixels. Throws Error: files that are there (without force), or that can't be written.
std::vector<std::string> writeSet(const SetPlan& plan, const std::function<void()>& advanced);

} // namespace ombrel::simulation
