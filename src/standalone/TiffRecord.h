#pragma once

#include "standalone/FrameOutput.h"

#include <QJsonArray>
#include <QJsonObject>

#include <chrono>
#include <string>

namespace ombrel {

// The file NAME.ombrel.json beside a TIFF output: what the run is, with its settings files, and the rows of
// its frames. It is replaced in one step, now and then and at the end; how many frames there are the pages of
// the TIFF file tell.
class TiffRecord {
public:
    explicit TiffRecord(const OutputPlan& plan);
    explicit TiffRecord(const OutputState& state);

    // Beside the output of that path.
    static std::string pathFor(const std::string& output);
    // Throw Error. The rows may be fewer than the pages.
    static OutputState read(const std::string& output);
    static std::string settings(const std::string& output, std::size_t index);

    // Writes the file when it was not written for a while.
    void add(const FrameRow& row);
    void setComplete();
    // Throws Error.
    void write();

private:
    using Clock = std::chrono::steady_clock;

    std::string path;
    QJsonObject json; // but for the rows
    QJsonArray rows;
    Clock::time_point nextWrite;
};

} // namespace ombrel
