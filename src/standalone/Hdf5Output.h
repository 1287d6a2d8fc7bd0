#pragma once

#include "standalone/FrameOutput.h"
#include "standalone/Hdf5OutputLayout.h"
#include "standalone/OutputFile.h"
#include "standalone/StoredPixels.h"

namespace ombrel {

// Frames as a dataset in the Data Exchange layout, with what was done beside it. The file has its final size
// from the start and is filled in place: frame, its rows in the tables, the count of frames done. So it can
// be opened after any end of the program, and holds each frame that the count covers.
class Hdf5Output final : public FrameOutput {
public:
    explicit Hdf5Output(const OutputPlan& plan);

    void append(std::span<const double> pixels) override;
    void appendFailed(const std::string& reason) override;
    void finish() override;

private:
    void write(std::span<const std::byte> frame, bool failed, const std::string& reason);

    OutputFile file;
    StoredPixels stored;
    Hdf5OutputAddresses addresses;
    zt::u64 framesDone = 0;
};

} // namespace ombrel
