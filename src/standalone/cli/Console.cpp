#include "standalone/cli/Console.h"

#include "standalone/Error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace ombrel::cli {

std::string oneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        if (const auto code = static_cast<unsigned char>(c); code < 0x20 || code == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", code);
            line += escaped;
        } else {
            line += c;
        }
    }
    return line;
}

Console::Console() : terminal(isatty(STDERR_FILENO) == 1) {
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    results.reset(own >= 0 ? fdopen(own, "w") : nullptr);
    if (const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
}

void Console::openLog(const std::string& path) {
    log.reset(std::fopen(path.c_str(), "ae"));
    if (!log)
        throw Error(path + ": can't write the log: " + std::strerror(errno));
    dup2(fileno(log.get()), STDOUT_FILENO);
}

void Console::result(std::string_view text) {
    if (results)
        std::fwrite(text.data(), 1, text.size(), results.get());
}

void Console::flushResults() {
    if (results && (std::fflush(results.get()) != 0 || std::ferror(results.get()) != 0))
        throw Error(std::string("standard output: can't write the result: ") + std::strerror(errno));
}

void Console::message(std::string_view text) {
    const std::string line = "ombrel: " + oneLine(text) + "\n";
    const std::scoped_lock lock(mutex);
    clearStatus();
    std::fwrite(line.data(), 1, line.size(), stderr);
    if (log) {
        std::fwrite(line.data(), 1, line.size(), log.get());
        std::fflush(log.get());
    }
}

void Console::status(std::string_view text) {
    const std::scoped_lock lock(mutex);
    clearStatus();
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
    statusShown = !text.empty();
}

void Console::clearStatus() {
    if (statusShown)
        std::fputs("\r\x1b[K", stderr);
    statusShown = false;
}

} // namespace ombrel::cli
