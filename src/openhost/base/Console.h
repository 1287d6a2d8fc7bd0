#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace ombrel {

// `text` as one printable line: control characters, which a path may hold, are written as \xHH, those above
// 127 and bytes that are no UTF-8 and would act as such ones included.
std::string oneLine(std::string_view text);

// Where a command writes. Results go to what was standard output when the program started; descriptor 1
// itself is turned away, since a filter may print lines of its own there. Messages go to standard error.
//
// Messages may come from several threads.
class Console {
public:
    // Takes over descriptor 1; one object a program, made first of all. Messages go to `messages`, which is
    // standard error where users are to see them.
    explicit Console(std::FILE* messages = stderr);

    // From now on messages are appended to the file as well, and what is printed to descriptor 1 ends there
    // too. Throws Error.
    void openLog(const std::string& path);

    void result(std::string_view text);
    // Sends results on their way. Throws Error when they could not be written, say on a full disk.
    void flushResults();
    // Gives descriptor 1 back, for a program that this one becomes. Results can't be written any more.
    void releaseOutput();
    // "ombrel: TEXT" on a line of its own. The text is taken as it is.
    void message(std::string_view text);
    // A message, unless it is empty.
    void warning(std::string_view text) {
        if (!text.empty())
            message(text);
    }
    // A line on the terminal that the next one overwrites; empty clears it.
    void status(std::string_view text);
    // The width of the terminal that messages go to, as it is now; 0 when they go elsewhere.
    unsigned columns() const;

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void clearStatus();

    std::mutex mutex;
    std::FILE* const stream;
    std::unique_ptr<std::FILE, CloseFile> results;
    std::unique_ptr<std::FILE, CloseFile> log;
    bool terminal;
    bool statusShown = false;
};

} // namespace ombrel
