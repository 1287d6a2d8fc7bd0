#include "support/Str.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace str {

namespace {

constexpr std::size_t firstBufferSize = 512;
// A format that fails in a buffer of this size does not fail for want of room.
constexpr std::size_t largestBufferSize = std::size_t{1} << 20;

} // namespace

std::string printToBuffer(const char* format, va_list arguments) {
    std::string buffer(firstBufferSize, '\0');
    for (;;) {
        va_list copy;
        va_copy(copy, arguments);
        const int printed = std::vsnprintf(buffer.data(), buffer.size(), format, copy);
        va_end(copy);

        if (printed >= 0 && static_cast<std::size_t>(printed) < buffer.size())
            return buffer;
        if (printed < 0 && buffer.size() >= largestBufferSize)
            throw std::length_error("a text cannot be printed by its format");
        buffer.resize(printed < 0 ? 2 * buffer.size() : static_cast<std::size_t>(printed) + 1);
    }
}

std::string detail::formatText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = printToBuffer(format, arguments);
    va_end(arguments);
    text.resize(std::strlen(text.c_str()));
    return text;
}

std::vector<std::string> split(const std::string& text, std::string delimiters, bool skipEmpty,
                               unsigned int maxParts) {
    std::vector<std::string> parts;
    std::size_t position = 0;
    for (;;) {
        const std::size_t found = text.find_first_of(delimiters, position);
        // Throws when the step over the last delimiter went beyond the text.
        std::string part = text.substr(position, found == std::string::npos ? found : found - position);
        if (!skipEmpty || !part.empty())
            parts.push_back(std::move(part));
        if (found == std::string::npos)
            return parts;

        position = found + delimiters.size();
        if (maxParts != 0 && parts.size() == maxParts - 1) {
            parts.push_back(text.substr(position));
            return parts;
        }
    }
}

} // namespace str
