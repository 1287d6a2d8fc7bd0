#include "support/Str.h"

#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

constexpr unsigned long firstCapacity = 120;

// Doubles the buffer. Lengths are returned as int, so the buffer never grows beyond that.
bool growLine(char*& line, unsigned long& capacity) {
    const unsigned long newCapacity = capacity < firstCapacity / 2 ? firstCapacity : 2 * capacity;
    if (newCapacity > INT_MAX)
        return false;
    auto* const grown = static_cast<char*>(std::realloc(line, newCapacity));
    if (!grown)
        return false;
    line = grown;
    capacity = newCapacity;
    return true;
}

// Reads up to a newline or the end of the file. Returns -1 at the end, or when memory runs out.
int readLine(std::FILE* stream, char*& line, unsigned long& capacity) {
    if (capacity <= firstCapacity / 2 && !growLine(line, capacity))
        return -1;
    unsigned long offset = 0;
    for (;;) {
        const unsigned long room = std::min<unsigned long>(capacity, INT_MAX) - offset;
        char* const start = line + offset;
        if (!std::fgets(start, static_cast<int>(room), stream))
            return offset != 0 && std::feof(stream) ? static_cast<int>(offset) : -1;
        if (std::feof(stream))
            return static_cast<int>(offset + std::strlen(start));
        if (const void* newline = std::memchr(start, '\n', room - 1))
            return static_cast<int>(static_cast<const char*>(newline) - line) + 1;
        offset += room - 1;
        if (!growLine(line, capacity))
            return -1;
    }
}

} // namespace

bool readBoundedLine(std::istream& text, std::string& line) {
    constexpr std::size_t longest = std::size_t{64} << 20;
    std::array<char, 4096> part;
    line.clear();
    while (line.size() <= longest && text.getline(part.data(), part.size()).gcount() > 0) {
        const bool filled = text.fail();
        const auto length = static_cast<std::size_t>(text.gcount());
        // The newline is counted but not stored.
        line.append(part.data(), filled || text.eof() ? length : length - 1);
        if (!filled)
            return true;
        text.clear();
    }
    return false;
}

unsigned long getNumberOfLinesInFile(const char* path, bool skipEmpty) {
    unsigned long count = 0;
    forEachLine(path, [&](const std::string& line) { count += !skipEmpty || !line.empty(); });
    return count;
}

int getline(std::FILE* stream, char** line, unsigned long* capacity) {
    if (!line || !capacity) {
        errno = EINVAL;
        return -1;
    }
    const bool isCallersBuffer = *line && *capacity != 0;
    if (!isCallersBuffer) {
        *line = nullptr;
        *capacity = 0;
    }
    const int length = readLine(stream, *line, *capacity);
    if (length < 0 && !isCallersBuffer) {
        std::free(*line);
        *line = nullptr;
        *capacity = 0;
    }
    return length;
}

namespace str {

namespace {

constexpr std::size_t firstBufferSize = 512;
// With a buffer of this size a format never fails for lack of room.
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
        // Throws when the step over the last delimiter passed the end of the text.
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
