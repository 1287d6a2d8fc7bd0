#pragma once

#include "simulation/DetectorModel.h"
#include "zt/Types.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace ombrel::simulation {

// The contents of a simulated data set.
struct SetPlan {
    std::string directory;
    zt::u32 width = 256;
    zt::u32 height = 256;
    zt::u32 frames = 100;
    zt::u32 flats = 20;
    double flux = 5000;      // photons a pixel and frame in the middle of the open beam
    zt::u32 gridSteps = 3;   // values of each setting in the adaptive filter's grid; 0: none, else 2 or more
    zt::u32 wedgeSteps = 10; // thicknesses of the beam-hardening filter's wedge, 0.3 mm apart; 0: none
    zt::u32 angles = 0;      // projections of a tomography; 0: none
    double deadTime = 0;     // nanoseconds; 0: the set lacks the frames of high count rates
    bool isParalysable = true;
    std::uint64_t seed = 1;
    FaultPlan faults;
};

// The paths of the files that writeSet() writes.
std::vector<std::string> filesOf(const SetPlan& plan);

// The number of images that writeSet() writes.
zt::u64 imagesOf(const SetPlan& plan);

// Writes the set, replacing existing files, and calls `advanced` once per image. simulation.json holds the
// plan and lists the dead, hot and other faulty pixels by index; each part describes its own files. The same
// plan gives the same pixels. Throws Error.
void writeSet(const SetPlan& plan, const std::function<void()>& advanced);

// Shared by all parts of a data set: the plan, and the detector of all pictures.
struct SetContext {
    const SetPlan& plan;
    const DetectorModel& detector;
    Exposure& exposure;
    const std::function<void()>& advanced; // called once per image

    std::string pathOf(const std::string& name) const {
        return (std::filesystem::path(plan.directory) / name).string();
    }
};

// One part of a data set: files that belong together.
class SetPart {
public:
    virtual ~SetPart() = default;
    // The names of its files, within the set's folder.
    virtual std::vector<std::string> files(const SetPlan& plan) const = 0;
    // The number of images that write() writes.
    virtual zt::u64 images(const SetPlan& plan) const = 0;
    // Throws Error.
    virtual void write(const SetContext& context) const = 0;
};

} // namespace ombrel::simulation
