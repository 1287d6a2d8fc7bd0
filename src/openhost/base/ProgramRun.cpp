#include "base/ProgramRun.h"

#include "base/Error.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>

namespace ombrel {

std::filesystem::path programFolder() {
    std::error_code unknown;
    return std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path();
}

namespace {

// A signal's handler writes it, and all workers read it.
std::atomic<bool> wasRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void note(int) {
    wasRequested.store(true, std::memory_order_relaxed);
}

} // namespace

Interrupt::Interrupt() {
    wasRequested = false;
    for (std::size_t i = 0; i < endSignals.size(); ++i) {
        sigaction(endSignals[i], nullptr, &former[i]);
        if (former[i].sa_handler == SIG_IGN)
            continue;
        struct sigaction noting {};
        noting.sa_handler = note;
        // The shell and the kernel may each send SIGHUP when a terminal closes.
        noting.sa_flags = SA_RESTART | (endSignals[i] == SIGHUP ? 0 : static_cast<int>(SA_RESETHAND));
        sigaction(endSignals[i], &noting, nullptr);
    }
}

Interrupt::~Interrupt() {
    for (std::size_t i = 0; i < endSignals.size(); ++i)
        sigaction(endSignals[i], &former[i], nullptr);
}

bool Interrupt::requested() {
    return wasRequested.load(std::memory_order_relaxed);
}

namespace {

// The first line of the parser's message, followed by a hint to the help.
std::string usageText(const CLI::App& program, const std::string& problem) {
    std::string command = program.get_name();
    for (auto used = program.get_subcommands(); !used.empty(); used = used.front()->get_subcommands())
        command += " " + used.front()->get_name();
    return problem.substr(0, problem.find('\n')) + " (see " + command + " --help)";
}

// An option that was not given has an empty value, so an empty value must not be given.
void refuseEmptyValues(CLI::App& program) {
    const CLI::Validator isGiven(
        [](const std::string& text) { return std::string(text.empty() ? "its value is empty" : ""); }, "");
    for (CLI::Option* option : program.get_options())
        if (option->get_items_expected_max() > 0)
            option->check(isGiven);
    for (CLI::App* command : program.get_subcommands([](CLI::App*) { return true; }))
        refuseEmptyValues(*command);
}

// The parser's own message lists neither the unknown command nor the known ones.
void checkCommand(const CLI::App& program, int argc, char** argv) {
    const std::string word = argc > 1 ? argv[1] : "";
    if (word.starts_with('-'))
        return;
    std::string known;
    for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; })) {
        if (word == command->get_name())
            return;
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    throw UsageError((word.empty() ? "no command given" : "unknown command \"" + word + "\"") +
                     "; commands: " + known + " (see " + program.get_name() + " --help)");
}

int parse(CLI::App& program, int argc, char** argv, Console& console) {
    try {
        program.parse(argc, argv);
        console.flushResults();
        return EXIT_ALL_DONE;
    } catch (const CLI::CallForHelp&) {
        const std::string help = program.help();
        console.result(help.ends_with('\n') ? help : help + '\n');
    } catch (const CLI::CallForVersion& version) {
        console.result(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        console.message(usageText(program, error.what()));
        return EXIT_USAGE;
    }
    console.flushResults();
    return EXIT_ALL_DONE;
}

// Does not allocate memory.
void reportNoMemory() {
    constexpr std::string_view text = "ombrel: not enough memory\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

std::terminate_handler defaultEnd = nullptr;

// Where an exception cannot pass, in Qt or before main(), a lack of memory still ends the program with a
// message. Files on the disk are valid however the program ends.
[[noreturn]] void endWithoutMemory() noexcept {
    try {
        if (std::current_exception())
            throw;
    } catch (const std::bad_alloc&) {
        reportNoMemory();
        ::_exit(EXIT_FAILED);
    } catch (...) { // the default handler shows the exception
    }
    defaultEnd();
    std::abort();
}

// Runs before the parser's static objects are constructed.
__attribute__((constructor(101))) void catchWantOfMemory() {
    defaultEnd = std::set_terminate(endWithoutMemory);
}

// Prints a message for the current exception and returns its exit code.
int exitCodeOfFailure(Console& console) {
    try {
        throw;
    } catch (const UsageError& error) {
        console.message(error.what());
        return EXIT_USAGE;
    } catch (const std::bad_alloc&) {
        console.message("not enough memory");
    } catch (const std::exception& error) {
        console.message(error.what());
    }
    return EXIT_FAILED;
}

} // namespace

int runProgram(CLI::App& program, int argc, char** argv, Console& console, const int& exitCode) {
    // Writing beyond a size limit or to a closed pipe must fail as a write, not end the program.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);

    program.require_subcommand(1);
    program.set_version_flag("--version", program.get_name() + " " OMBREL_VERSION);
    program.get_formatter()->column_width(34);

    checkCommand(program, argc, argv);
    refuseEmptyValues(program);
    const int parsed = parse(program, argc, argv, console);
    return parsed != EXIT_ALL_DONE ? parsed : exitCode;
}

int runMain(int argc, char** argv, int (*program)(int argc, char** argv, Console& console)) noexcept {
    try {
        Console console;
        try {
            return program(argc, argv, console);
        } catch (...) {
            return exitCodeOfFailure(console);
        }
    } catch (...) { // not enough memory even for a message
        reportNoMemory();
        return EXIT_FAILED;
    }
}

} // namespace ombrel
