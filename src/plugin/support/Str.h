#pragma once

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <locale.h>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

// While it lives, this thread prints and scans numbers with a point, whatever locale the program runs under:
// a file written in one country must be read in the next.
class ClassicNumbers {
public:
    ClassicNumbers() : previous(uselocale(classicLocale())) {}
    ~ClassicNumbers() { uselocale(previous); }
    ClassicNumbers(const ClassicNumbers&) = delete;
    ClassicNumbers& operator=(const ClassicNumbers&) = delete;

private:
    // Made once and kept for good.
    static locale_t classicLocale() {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        return classic;
    }

    locale_t previous;
};

// Reads a line without its newline. False at the end of the text, which a line of more than 64 MiB is, too: a
// device or a binary file may hold no newline at all.
bool readBoundedLine(std::istream& text, std::string& line);

// Calls `work` with each line, without its newline. A last line may lack one; the empty text behind a last
// newline is no line. A file that can't be opened has no lines, and what follows a line of more than 64 MiB
// is not read.
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

// Reads a line, its newline included, into a buffer that grows by realloc, and returns its length, or -1 when
// there is none. *line and *capacity are a buffer of the caller's, made by malloc, or null and 0; the caller
// frees it in the end. At the end of the file, and when memory runs out, a buffer that the caller brought is
// kept and one that this call made is freed. Null arguments set errno to EINVAL.
int getline(std::FILE* stream, char** line, unsigned long* capacity);

namespace str {

// Prints as vprintf does, into a buffer of 512 characters, or of the text's length plus 1 where that is too
// small. The result is the whole buffer: the text, its terminating zero, and zeros up to the buffer's end.
// Throws std::length_error when the format cannot be printed at all.
std::string printToBuffer(const char* format, va_list arguments);

namespace detail {
std::string formatText(const char* format, ...);
}

// Prints as printf does. The arguments must be what the format says.
template <typename... Arguments>
std::string format(const std::string& format, Arguments... arguments) {
    return detail::formatText(format.c_str(), arguments...);
}

// Cuts `text` at any of the characters of `delimiters`; an empty text is one empty part.
//
// After a cut the text goes on behind as many characters as `delimiters` has, so that several of them are for
// separators of that very length; std::out_of_range is thrown when the text ends within one. With `maxParts`,
// the part that reaches this number takes the rest of the text; 0 and 1 stand for no limit.
std::vector<std::string> split(const std::string& text, std::string delimiters, bool skipEmpty,
                               unsigned int maxParts);

// The value as a stream prints it: a float with up to six significant digits and no zeros behind the last.
template <typename T>
std::string fromNum(const T& value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

// Reads the number that the text begins with, after white space; what stands behind it is ignored. `error`,
// which may be null, becomes 1 when there is none or it is out of range, else 0. A text without a number
// gives 0.
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
