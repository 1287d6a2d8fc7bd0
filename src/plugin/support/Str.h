#pragma once

#include <cstdarg>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

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
