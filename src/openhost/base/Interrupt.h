#pragma once

#include <array>
#include <csignal>

namespace ombrel {

// While it exists, Ctrl-C, a request to end and a terminal that closes are noted and asked for between
// frames, so that what was made up to there is left whole. A signal that was ignored before, as nohup and the
// shells' background jobs have it, stays ignored. A second Ctrl-C or request to end ends the program at once.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    static bool requested();

private:
    static constexpr std::array endSignals{SIGINT, SIGTERM, SIGHUP};

    std::array<struct sigaction, endSignals.size()> former{};
};

} // namespace ombrel
