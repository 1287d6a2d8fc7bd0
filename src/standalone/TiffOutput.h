#pragma once

#include "standalone/FrameOutput.h"
#include "standalone/OutputFile.h"
#include "standalone/TiffLayout.h"
#include "standalone/TiffRecord.h"

namespace ombrel {

// Frames as the pages of a TIFF file, BigTIFF where it would grow beyond 4 GB. The file stands at its path
// from the first page on, and a page is there whole before the one before points to it: so the file is right
// after any end of the program. Room on the disk is taken before, where the file system can.
class TiffOutput final : public FrameOutput {
public:
    explicit TiffOutput(const OutputPlan& plan);
    // Goes on with an output that stands on the disk. Pages that have no row yet stay, and are not written
    // again: the run gives them the same pixels once more, and their rows.
    explicit TiffOutput(const OutputState& state);
    ~TiffOutput() override;

    void append(std::span<const std::byte> pixels, const FrameRow& row) override;
    void finish() override;

private:
    void writePage(std::span<const std::byte> pixels);
    // The file's size with the pages that stand in it.
    zt::u64 size() const;

    OutputFile file;
    std::vector<std::byte> failedFrame;
    TiffLayout layout;
    TiffRecord record;
    zt::u64 framesPlanned;
    zt::u64 pagesDone = 0;
    zt::u64 framesDone = 0; // at most as many: their rows are noted, too
};

} // namespace ombrel
