#pragma once

#include "base/Console.h"

#include <array>
#include <csignal>
#include <filesystem>

namespace ombrel {

// The folder of the running program; its files are searched here first.
std::filesystem::path programFolder();

// While it exists, Ctrl-C, a termination request and a closed terminal only set a flag, which is checked
// between frames so that the output so far stays valid. A signal that was already ignored, as under nohup or
// in a background job, stays ignored. A second Ctrl-C or termination request ends the program immediately.
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
    EXIT_FAILED = 1, // a failure after files were touched; the output so far is valid
    EXIT_USAGE = 2,  // the command line is wrong
};

// Runs the program; prints a message for an exception and returns the exit code. For main().
int runMain(int argc, char** argv, int (*program)(int argc, char** argv, Console& console)) noexcept;

// Parses the command line and runs the command's work, and returns the exit code of that work. If the parser
// refuses the command line, prints a message and returns the matching code. Other failures are thrown, for
// runMain().
int runProgram(CLI::App& program, int argc, char** argv, Console& console, const int& exitCode);

} // namespace ombrel
