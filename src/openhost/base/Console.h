#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace ombrel {

// `text` as one printable line: control characters, which a path may hold, are written as \xHH. So are C1
// control characters and invalid UTF-8 bytes that a terminal would interpret as such.
std::string oneLine(std::string_view text);

// Where a command writes. Results go to the standard output that the program was started with; descriptor 1
// itself is redirected, since a filter may print to it. Messages go to standard error.
//
// Messages may come from several threads.
class Console {
public:
    // Takes over descriptor 1; create one object per program, before anything else. Messages go to
    // `messages`: standard error if users are to see them.
    explicit Console(std::FILE* messages = stderr);

    // Passes each message to a function, from any thread, and drops results; for a program that owns its
    // standard streams.
    using MessageSink = std::function<void(const std::string& line, bool isWarning)>;
    explicit Console(MessageSink messageSink);

    // From now on, messages and everything printed to descriptor 1 are also appended to the file. Throws
    // Error.
    void openLog(const std::string& path);

    void result(std::string_view text);
    // Flushes the results. Throws Error when they could not be written, for example on a full disk.
    void flushResults();
    // Restores descriptor 1 before exec() of another program. Results can't be written any more.
    void releaseOutput();
    // Writes "ombrel: TEXT" as a separate line. The text is not changed.
    void message(std::string_view text) { write(text, false); }
    // These write a message unless the text is empty.
    void note(std::string_view text) {
        if (!text.empty())
            write(text, false);
    }
    void warning(std::string_view text) {
        if (!text.empty())
            write(text, true);
    }
    // A line on the terminal that the next one overwrites; empty clears it.
    void status(std::string_view text);
    // The current width of the terminal that messages go to; 0 when they do not go to a terminal.
    unsigned columns() const;

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void write(std::string_view text, bool isWarning);
    void clearStatus();

    std::mutex mutex;
    MessageSink sink;
    std::FILE* const stream;
    std::unique_ptr<std::FILE, CloseFile> results;
    std::unique_ptr<std::FILE, CloseFile> log;
    bool terminal;
    bool statusShown = false;
};

} // namespace ombrel
