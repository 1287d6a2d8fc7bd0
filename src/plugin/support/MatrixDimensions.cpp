#include "support/MatrixDimensions.h"

#include "support/ClassicNumbers.h"
#include "support/StdioFile.h"
#include "support/TextLines.h"

#include <cstring>
#include <string>

namespace {

// The line is scanned as a stream: scanning the rest of the text again for each number would take the square
// of the line's length.
unsigned long countLeadingNumbers(std::string& line) {
    const std::size_t length = std::strlen(line.c_str());
    const StdioFile stream(length == 0 ? nullptr : fmemopen(line.data(), length, "r"));
    if (!stream)
        return 0;
    const ClassicNumbers classic;
    unsigned long count = 0;
    double number;
    while (std::fscanf(stream.get(), "%lf", &number) == 1)
        ++count;
    return count;
}

} // namespace

int getAsciiMatrixDimensions(const char* path, unsigned long* width, unsigned long* height) {
    std::string firstLine;
    *height = 0;
    forEachLine(path, [&](std::string& line) {
        if (line.empty())
            return;
        if (++*height == 1)
            firstLine = line;
    });
    *width = countLeadingNumbers(firstLine);
    return 0;
}
