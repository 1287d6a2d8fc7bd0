#pragma once

#include "frame/FrameFile.h"

#include <functional>
#include <optional>
#include <string>

namespace ombrel {

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
