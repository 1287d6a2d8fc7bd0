#pragma once

#include "frame/FrameFile.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// How much structure a correction leaves in areas that should be even.
struct ResidualReport {
    // Of each frame: the relative deviation of the corrected pixels from their mean, as a multiple of what
    // the photon statistics of the raw counts make of it. 1 for a perfect correction; nothing for a frame
    // without corrected pixels.
    std::vector<std::optional<double>> frames;
    double mean = 0; // of those that have one
    double worst = 0;
};

// Compares the frames of two files. `maskPath` is a frame that is 0 where the sample, or a bad pixel, is;
// empty: all pixels count. Pixels that are 0 in the raw frame, or not finite in the corrected one, do not.
// Throws Error: a file that can't be read, different sizes or numbers of frames, no frame with a pixel that
// counts.
ResidualReport reportOnResidual(const std::string& correctedPath, const std::string& rawPath,
                                const std::string& maskPath);

// From the smallest to the greatest value; empty when `min` is above `max`.
struct ValueRange {
    double min = 0;
    double max = -1;

    bool isEmpty() const { return !(min <= max); }
    void include(double value);
};

// What the pixels of a file are.
struct PixelReport {
    ValueRange range;      // of all frames, without those that are not a number
    zt::u64 nanPixels = 0; // of all frames
    bool isFloat = false;  // the values are 32-bit floats
};

struct FileReport {
    FrameFileInfo info;
    ValueRange acqTimes; // seconds; empty when the file holds none
};

// Describes an open file without reading a pixel.
FileReport reportOnFile(const FrameFile& file);

// Reads all frames; sub-frames count as the frame that they add up to. `frameDone` is called after each and
// returns false to stop: then nothing is returned. Throws Error.
std::optional<PixelReport> reportOnPixels(FrameFile& file, const std::function<bool()>& frameDone);

// The reports as lines for people, each with its end.
std::string fileReportText(const FileReport& report);
std::string pixelReportText(const PixelReport& report);

} // namespace ombrel
