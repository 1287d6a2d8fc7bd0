#pragma once

#include "simulation/SimulatedSet.h"

namespace ombrel::simulation {

// frames.h5: the sample moving through the beam (/exchange/data) and the open beam (/exchange/data_white),
// all at one operating point. device-mask.h5: u16, 0 for the dead and hot pixels, 1 for the others.
class ImagingPart : public SetPart {
public:
    std::vector<std::string> files(const SetPlan& plan) const override;
    zt::u64 images(const SetPlan& plan) const override;
    void write(const SetContext& context) const override;
};

// For the beam-hardening filter, with a polychromatic beam. wedge-0mm.h5, wedge-0.3mm.h5, ...: frames through
// the steps of a wedge, one file per thickness. wedge-sample.h5: frames of the sample. wedge-thickness.h5:
// the expected result, which is the sample's thickness in millimetres (/exchange/data), and its standard
// deviation due to photon statistics in one frame (/noise/data; 0 at dead and hot pixels).
class WedgePart : public SetPart {
public:
    std::vector<std::string> files(const SetPlan& plan) const override;
    zt::u64 images(const SetPlan& plan) const override;
    void write(const SetContext& context) const override;
};

} // namespace ombrel::simulation
