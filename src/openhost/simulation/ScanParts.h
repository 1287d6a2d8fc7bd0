#pragma once

#include "simulation/SimulatedSet.h"

namespace ombrel::simulation {

// frames.h5: the sample moving through the beam (/exchange/data) and the open beam (/exchange/data_white),
// all at one operating point. device-mask.h5: u16, 0 for the dead and hot pixels and those of the plan's
// faults, 1 for the others.
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

// Time after a count in which a pixel does not count another photon. If it is paralysable, a photon that
// arrives meanwhile starts it again (G. F. Knoll, Radiation Detection and Measurement).
struct DeadTime {
    double seconds = 0;
    bool isParalysable = true;

    // Counts a second at that rate of photons.
    double counted(double rate) const;
};

// Dead times of all pixels, 5 % from pixel to pixel.
std::vector<DeadTime> deadTimes(const DetectorModel& detector, const DeadTime& mean, std::uint64_t seed);

// For a correction of lost counts, with plan.deadTime: count-rate-1.8.h5, count-rate-2.h5, ...: frames of one
// second, each file at one flux, in million photons a pixel and second. count-rate-frames.h5: frames to
// correct; count-rate-frames.csv: the flux of each.
class CountRatePart : public SetPart {
public:
    std::vector<std::string> files(const SetPlan& plan) const override;
    zt::u64 images(const SetPlan& plan) const override;
    void write(const SetContext& context) const override;
};

// A tomography, with plan.angles, by a detector that counts without a beam, too, and whose beam fluctuates by
// 2 % from frame to frame. tomography.h5: projections (/exchange/data) with their angles (/exchange/theta),
// the open beam and dark fields. The outer eighth of each frame, left and right, is open.
// tomography-attenuation.h5: the attenuation that each pixel of each projection should have.
class TomographyPart : public SetPart {
public:
    std::vector<std::string> files(const SetPlan& plan) const override;
    zt::u64 images(const SetPlan& plan) const override;
    void write(const SetContext& context) const override;
};

} // namespace ombrel::simulation
