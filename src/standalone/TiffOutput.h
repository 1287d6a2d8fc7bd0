#pragma once

#include "standalone/FrameOutput.h"
#include "standalone/OutputFile.h"
#include "standalone/StoredPixels.h"
#include "standalone/TiffLayout.h"

namespace ombrel {

// Frames as the pages of a TIFF file, BigTIFF where it would grow beyond 4 GB. The file stands at its path
// from the first page on, and a page is there whole before the one before points to it: so the file is right
// after any end of the program. Room on the disk is taken before, where the file system can.
class TiffOutput final : public FrameOutput {
public:
    explicit TiffOutput(const OutputPlan& plan);
    ~TiffOutput() override;

    void append(std::span<const double> pixels) override;
    void appendFailed(const std::string& reason) override;
    void finish() override;

private:
    void write(std::span<const std::byte> frame);
    // The file's size with the pages that are done.
    zt::u64 size() const;

    OutputFile file;
    StoredPixels stored;
    TiffLayout layout;
    zt::u64 framesPlanned;
    zt::u64 framesDone = 0;
};

} // namespace ombrel
