#pragma once

#include <csignal>

namespace ombrel::cli {

// While it stands, Ctrl-C and a request to end are noted and asked for between frames, so that what was made
// up to there is left whole. A second one ends the program at once.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    static bool requested();
};

} // namespace ombrel::cli
