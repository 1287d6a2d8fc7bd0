#include "base/Console.h"

#include "base/Error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ombrel {

namespace {

// Length of the UTF-8 character at the start of a text; 0 if the text does not start with a valid one.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t length = byte(0) < 0x80                      ? 1
                               : byte(0) >= 0xc2 && byte(0) < 0xe0 ? 2
                               : byte(0) >= 0xe0 && byte(0) < 0xf0 ? 3
                               : byte(0) >= 0xf0 && byte(0) < 0xf5 ? 4
                                                                   : 0;
    if (length > text.size())
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xc0) != 0x80)
            return 0;
    return length;
}

// C0 and C1, the latter as characters of UTF-8 or as the bytes that an 8-bit terminal takes for them.
bool isControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character.front());
    if (character.size() == 1)
        return first < 0x20 || (first >= 0x7f && first < 0xa0);
    return first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

} // namespace

std::string oneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const std::string_view character = text.substr(0, std::max<std::size_t>(characterLength(text), 1));
        text.remove_prefix(character.size());
        if (!isControl(character)) {
            line += character;
            continue;
        }
        for (const char c : character) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
            line += escaped;
        }
    }
    return line;
}

namespace {

// A file opened while a standard descriptor is closed would get its number, and then everything printed to
// it.
bool occupyStandardDescriptors() {
    int descriptor = 0;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        close(descriptor);
    return true;
}

} // namespace

Console::Console(std::FILE* messages)
    : stream(messages), terminal(occupyStandardDescriptors() && isatty(fileno(messages)) == 1) {
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (own >= 0) {
        results.reset(fdopen(own, "w"));
        if (!results)
            throw std::bad_alloc();
    }
    if (const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
}

Console::Console(MessageSink messageSink) : sink(std::move(messageSink)), stream(nullptr), terminal(false) {}

void Console::releaseOutput() {
    if (results)
        dup2(fileno(results.get()), STDOUT_FILENO);
    results.reset();
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

void Console::write(std::string_view text, bool isWarning) {
    if (sink)
        return sink(oneLine(text), isWarning);
    const std::string line = "ombrel: " + oneLine(text) + "\n";
    const std::scoped_lock lock(mutex);
    clearStatus();
    std::fwrite(line.data(), 1, line.size(), stream);
    if (log) {
        std::fwrite(line.data(), 1, line.size(), log.get());
        std::fflush(log.get());
    }
}

void Console::status(std::string_view text) {
    if (!stream)
        return;
    const std::scoped_lock lock(mutex);
    clearStatus();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
    statusShown = !text.empty();
}

unsigned Console::columns() const {
    constexpr unsigned usual = 80; // if the terminal does not report its width
    if (!terminal)
        return 0;
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

void Console::clearStatus() {
    if (statusShown)
        std::fputs("\r\x1b[K", stream);
    statusShown = false;
}

} // namespace ombrel
