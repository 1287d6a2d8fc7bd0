#pragma once

#include "base/Console.h"
#include "zt/Types.h"

#include <chrono>
#include <string>

namespace ombrel {

// The bar of a terminal with so many columns, as a text that is shorter. It is in ASCII; what there is no
// room for is left out: the rate first, then the time left, then the counts.
std::string progressBar(zt::u64 done, zt::u64 total, double framesPerSecond, unsigned columns);

// How far a walk over frames has come: a bar with rate and time left on a terminal, a plain line now and then
// otherwise, nothing when quiet.
class Progress {
public:
    Progress(Console& out, zt::u64 frames, bool beQuiet);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // One more frame is through.
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
    unsigned shownColumns = 0; // of the terminal at that time
};

} // namespace ombrel
