#pragma once

#include "base/Console.h"

#include <array>
#include <csignal>
#include <filesystem>

namespace ombrel {

// The folder of the running program, where what belongs to it is looked for first.
std::filesystem::path programFolder();

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

namespace CLI {
class App;
}

namespace ombrel {

// Exit codes of the program.
enum ExitCode : int {
    EXIT_ALL_DONE = 0,
    EXIT_FAILED = 1, // something failed once files were touched; what was made up to there is whole
    EXIT_USAGE = 2,  // the command line is wrong
};

// What main() does: runs the program, and for what it throws prints a message and returns the exit code.
int runMain(int argc, char** argv, int (*program)(int argc, char** argv, Console& console)) noexcept;

// Reads the command line by `program`, whose commands do their work meanwhile, and returns the exit code of
// that work, or the one for a command line that the parser refuses, after a message. What else is wrong is
// thrown, for runMain().
int runProgram(CLI::App& program, int argc, char** argv, Console& console, const int& exitCode);

} // namespace ombrel
