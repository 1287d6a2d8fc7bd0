#pragma once

#include "base/Console.h"
#include "run/RunSetup.h"

#include <QJsonObject>

#include <string>
#include <vector>

namespace ombrel {

// Seconds that half of all frames, 99 and 99.9 of a hundred did not exceed.
struct Percentiles {
    double p50 = 0;
    double p99 = 0;
    double p999 = 0;

    // The values of the frames at these places in the order of time; all 0 without frames.
    static Percentiles of(std::vector<double> seconds);
};

// The speed of a run, measured over several rounds.
struct BenchResult {
    std::string chain; // the names of its filters
    std::string pixelType;
    std::string outputType;
    zt::u32 width = 0;
    zt::u32 height = 0;
    FrameRange frames; // of each round
    std::size_t jobs = 0;
    std::vector<double> rounds; // seconds
    Percentiles read;
    Percentiles filter;
    Percentiles write;
    Percentiles way;
    zt::u64 loadedBytes = 0; // in memory before the first frame
    zt::u64 peakBytes = 0;

    // Of the median round.
    double framesPerSecond() const;
    std::string text() const;
    QJsonObject toJson() const;
};

// Corrects the frames `rounds` times, into an output that is replaced each time, and measures. All frames
// must succeed. Throws UsageError or Error.
BenchResult measureRun(const RunOptions& options, unsigned rounds, Console& console);

} // namespace ombrel
