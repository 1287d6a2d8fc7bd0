#pragma once

#include "simulation/SetPart.h"

namespace ombrel::simulation {

// frames.h5: the sample moving through the beam (/exchange/data) and the open beam (/exchange/data_white),
// all at one operating point. device-mask.h5: u16, 0 for the dead and hot pixels, 1 for the others.
class ImagingPart : public SetPart {
public:
    std::vector<std::string> files(const SetPlan& plan) const override;
    zt::u64 images(const SetPlan& plan) const override;
    void write(const SetContext& context) const override;
};

} // namespace ombrel::simulation
