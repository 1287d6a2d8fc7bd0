#include "support/TextLines.h"

#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned long firstCapacity = 120;

// Doubles the buffer. Lengths are told as int, and no buffer grows beyond that.
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

// Reads up to a newline or the end of the file. -1: nothing there, or no memory for what is.
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
        // The newline is counted and not stored.
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
