#pragma once

#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "tiff/TiffLayout.h"
#include "tiff/TiffRecord.h"

#include <span>
#include <string>

namespace ombrel {

// Frames as the pages of a TIFF file, or BigTIFF if it would exceed 4 GB. The file is at its path from the
// first page on, and a page is complete before the previous one links to it: so the file is valid however the
// program ends. Space on the disk is allocated in advance if the file system supports it.
class TiffOutput final : public FrameOutput {
public:
    explicit TiffOutput(const OutputPlan& plan);
    // Resumes an output after its frames that are done, at least one; later pages are written again.
    explicit TiffOutput(const OutputState& state);
    ~TiffOutput() override;

    // Drops the recorded frames from the first one that the file does not really hold: its page is not
    // linked, or its pixels do not match its row. Throws Error.
    static void keepWholeFrames(OutputState& state);

    void append(std::span<const std::byte> pixels, const FrameRow& row) override;
    void finish() override;

private:
    void writePage(std::span<const std::byte> pixels);
    void checkInPlace() const;
    // The size of the file with its current pages.
    zt::u64 size() const;

    OutputFile file;
    std::vector<std::byte> failedFrame;
    TiffRecord record;
    TiffLayout layout;
    zt::u64 framesPlanned;
    zt::u64 framesDone = 0;
};

// Writes one page of bytes, row by row. Replaces the file atomically. Throws Error.
void writeTiffImage(const std::string& path, zt::u32 width, std::span<const zt::u8> pixels);

} // namespace ombrel
