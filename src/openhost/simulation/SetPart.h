#pragma once

#include "simulation/DetectorModel.h"
#include "simulation/Exposure.h"
#include "simulation/SimulatedSet.h"
#include "zt/Types.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace ombrel::simulation {

// What all parts of a data set share: the plan, and one detector that took all pictures.
struct SetContext {
    const SetPlan& plan;
    const DetectorModel& detector;
    Exposure& exposure;
    const std::function<void()>& advanced; // called once an image

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
    // Images that write() makes.
    virtual zt::u64 images(const SetPlan& plan) const = 0;
    // Throws Error.
    virtual void write(const SetContext& context) const = 0;
};

} // namespace ombrel::simulation
