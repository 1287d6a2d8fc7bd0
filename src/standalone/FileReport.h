#pragma once

#include "standalone/FrameFile.h"

#include <string>

namespace ombrel {

// From the smallest to the greatest value; empty when `min` is above `max`.
struct ValueRange {
    double min = 0;
    double max = -1;

    bool isEmpty() const { return !(min <= max); }
    void include(double value);
};

// What a frame file holds, its pixels included.
struct FileReport {
    FrameFileInfo info;
    ValueRange pixels; // of all frames, without those that are not a number
    zt::u64 nanPixels = 0;
    ValueRange acqTimes; // seconds; empty when the file tells none
};

// Reads all frames of the file. Throws Error.
FileReport reportOnFile(const std::string& path);

// The report as lines for people, each with its end.
std::string fileReportText(const FileReport& report);

} // namespace ombrel
