#pragma once

#include "base/Console.h"
#include "zt/Types.h"

#include <chrono>
#include <string>

namespace ombrel {

// The progress bar as text, in ASCII and shorter than `columns`. If there is too little room, first the rate
// is left out, then the time left, then the counts.
std::string progressBar(zt::u64 done, zt::u64 total, double framesPerSecond, unsigned columns);

// Shows the progress through the frames: a bar with rate and time left on a terminal, otherwise a plain line
// from time to time, nothing when quiet.
class Progress {
public:
    Progress(Console& out, zt::u64 frames, bool beQuiet);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Counts one more frame.
    void advance();

    zt::u64 framesDone() const { return done; }
    double seconds() const;
    double framesPerSecond() const;

private:
    using Clock = std::chrono::steady_clock;

    void show(unsigned columns);

    Console& console;
    zt::u64 total;
    zt::u64 done = 0;
    bool quiet;
    Clock::time_point start = Clock::now();
    Clock::time_point shown = start;
    unsigned shownColumns = 0; // of the terminal at that moment
};

} // namespace ombrel
