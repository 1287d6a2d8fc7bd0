#pragma once

#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The structure that a correction leaves in areas that should be uniform.
struct ResidualReport {
    // For each frame: the relative deviation of the corrected pixels from their mean, as a multiple of that
    // expected from the photon statistics of the raw counts. 1 for a perfect correction; nothing for a frame
    // without corrected pixels.
    std::vector<std::optional<double>> frames;
    double mean = 0; // of the frames that have a value
    double worst = 0;
};

// Compares the frames of two files. `maskPath` is a frame that is 0 at the sample and at bad pixels; if
// empty, all pixels are compared. Pixels that are 0 in the raw frame, or not finite in the corrected one, are
// ignored. Throws Error for a file that can't be read, different sizes or numbers of frames, or if no pixel
// remains in any frame.
ResidualReport reportOnResidual(const std::string& correctedPath, const std::string& rawPath,
                                const std::string& maskPath);

// From the least to the greatest value; empty if `min` is above `max`.
struct ValueRange {
    double min = 0;
    double max = -1;

    bool isEmpty() const { return !(min <= max); }
    void include(double value);
};

// The values of the pixels of a file.
struct PixelReport {
    ValueRange range;      // of all frames, without NaN
    zt::u64 nanPixels = 0; // of all frames
    bool isFloat = false;  // the values are 32-bit floats
};

struct FileReport {
    FrameFileInfo info;
    ValueRange acqTimes;               // seconds; empty if the file has no times
    std::vector<zt::u32> touched;      // of an output of ombrel, see PixelFaults.h
    std::optional<OutputPlan> output;  // likewise
    std::optional<RunRecord> record;   // likewise
    std::vector<std::string> metadata; // paths of what an output takes over
    std::optional<zt::u64> masked;     // pixels of the mask that a run finds next to the frames
};

// Describes an open file without reading a pixel.
FileReport reportOnFile(const FrameFile& file);

// Reads all frames; a frame with sub-frames is their sum. `frameDone` is called after each frame; if it
// returns false, reading stops and nothing is returned. Throws Error.
std::optional<PixelReport> reportOnPixels(FrameFile& file, const std::function<bool()>& frameDone);

// The reports as lines of text.
std::string fileReportText(const FileReport& report);
std::string pixelReportText(const PixelReport& report);

} // namespace ombrel
