#pragma once

#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "hdf5/Hdf5OutputLayout.h"

namespace ombrel {

// Frames as a dataset in the Data Exchange layout, with what was done beside it. The file has its final size
// from the start and is filled in place: frame, its row in the table, the count of frames done. So it can be
// opened after any end of the program, and holds each frame that the count covers.
class Hdf5Output final : public FrameOutput {
public:
    explicit Hdf5Output(const OutputPlan& plan);
    // Goes on with an output that stands on the disk.
    explicit Hdf5Output(const OutputState& state);

    void append(std::span<const std::byte> pixels, const FrameRow& row) override;
    void finish() override;

private:
    void storeSettings(const OutputPlan& plan);

    OutputFile file;
    std::vector<std::byte> failedFrame;
    Hdf5OutputAddresses addresses;
    zt::u64 framesDone = 0;
};

} // namespace ombrel
