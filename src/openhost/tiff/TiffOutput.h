#pragma once

#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "tiff/TiffLayout.h"
#include "tiff/TiffRecord.h"

namespace ombrel {

// Frames as the pages of a TIFF file, BigTIFF where it would grow beyond 4 GB. The file is at its path from
// the first page on, and a page is whole before the one before points to it: so the file is right after any
// end of the program. Room on the disk is taken before, where the file system can.
class TiffOutput final : public FrameOutput {
public:
    explicit TiffOutput(const OutputPlan& plan);
    // Resumes an output after its frames that are done, at least one; pages after them are written again.
    explicit TiffOutput(const OutputState& state);
    ~TiffOutput() override;

    // Leaves of the recorded frames those before the first that the file does not really hold: whose page is
    // not linked, or whose pixels are not those that its row was made for. Throws Error.
    static void keepWholeFrames(OutputState& state);

    void append(std::span<const std::byte> pixels, const FrameRow& row) override;
    void finish() override;

private:
    void writePage(std::span<const std::byte> pixels);
    void checkInPlace() const;
    // The file's size with the pages that it has.
    zt::u64 size() const;

    OutputFile file;
    std::vector<std::byte> failedFrame;
    TiffRecord record;
    TiffLayout layout;
    zt::u64 framesPlanned;
    zt::u64 framesDone = 0;
};

} // namespace ombrel
