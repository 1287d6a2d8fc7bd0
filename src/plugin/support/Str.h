#pragma once

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <locale.h>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

// While it exists, this thread prints and scans numbers with a point, whatever locale the program uses: files
// must be portable between countries.
class ClassicNumbers {
public:
    ClassicNumbers() : previous(uselocale(classicLocale())) {}
    ~ClassicNumbers() { uselocale(previous); }
    ClassicNumbers(const ClassicNumbers&) = delete;
    ClassicNumbers& operator=(const ClassicNumbers&) = delete;

private:
    // Created once and never freed.
    static locale_t classicLocale() {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        return classic;
    }

    locale_t previous;
};

// Reads a line without its newline. Returns false at the end of the text, and for a line of more than 64 MiB:
// a device or a binary file may contain no newline at all.
bool readBoundedLine(std::istream& text, std::string& line);

// Calls `work` with each line, without its newline. The last line may lack one; the empty text after a final
// newline does not count as a line. A file that can't be opened has no lines, and reading stops at a line of
// more than 64 MiB.
template <typename Work>
void forEachLine(const char* path, Work&& work) {
    if (!path)
        return;
    std::ifstream file(path);
    std::string line;
    while (readBoundedLine(file, line))
        work(line);
}

unsigned long getNumberOfLinesInFile(const char* path, bool skipEmpty);

// Reads a line, including its newline, into a buffer that grows by realloc, and returns its length, or -1 at
// the end. *line and *capacity are the caller's buffer from malloc, or null and 0; the caller frees it
// finally. At the end of the file, and when memory runs out, a buffer passed by the caller is kept and a
// buffer allocated by this call is freed. Null arguments set errno to EINVAL.
int getline(std::FILE* stream, char** line, unsigned long* capacity);

namespace str {

// Prints like vprintf into a buffer of 512 characters, or of the text's length plus 1 if that is larger.
// Returns the whole buffer: the text, its terminating zero, and zeros up to the buffer's end. Throws
// std::length_error for a format that cannot be printed at all.
std::string printToBuffer(const char* format, va_list arguments);

namespace detail {
std::string formatText(const char* format, ...);
}

// Prints like printf. The arguments must match the format.
template <typename... Arguments>
std::string format(const std::string& format, Arguments... arguments) {
    return detail::formatText(format.c_str(), arguments...);
}

// Splits `text` at any of the characters of `delimiters`; an empty text is one empty part.
//
// After a split the text continues as many characters later as `delimiters` has, so several delimiters are
// for separators of exactly that length; std::out_of_range is thrown when the text ends within one. With
// `maxParts`, the part with this number takes the rest of the text; 0 and 1 mean no limit.
std::vector<std::string> split(const std::string& text, std::string delimiters, bool skipEmpty,
                               unsigned int maxParts);

// The value as a stream prints it: a float with up to six significant digits and no trailing zeros.
template <typename T>
std::string fromNum(const T& value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

// Reads the number at the start of the text, after white space; the text after it is ignored. `error`, which
// may be null, becomes 1 when the number is missing or out of range, else 0. A text without a number returns
// 0.
template <typename T>
T toNum(const std::string& text, int* error) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    T value{};
    stream >> value;
    if (error)
        *error = stream.fail() ? 1 : 0;
    return value;
}

} // namespace str
