#include "support/MatrixFile.h"

#include "support/BinaryFile.h"
#include "support/Str.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

namespace {

// The line is scanned as a stream: scanning the rest of the text again for each number would take quadratic
// time.
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

namespace {

static_assert(std::endian::native == std::endian::little, "the low bits of a value are in its first bytes");

// How to scan a value, and how many of its bytes to store, when elements are `elementSize` apart.
struct ElementScan {
    const char* format;
    std::size_t elementSize;
    std::size_t storedSize;
};

std::optional<ElementScan> elementScan(_DataType type) {
    switch (type) {
    case DT_U8:
        return ElementScan{"%u", 1, 1};
    case DT_I16:
        return ElementScan{"%d", 2, 2};
    case DT_U16:
        // The upper half goes to the next element, if any, until that element's own value overwrites it.
        return ElementScan{"%u", 2, 4};
    case DT_I32:
        return ElementScan{"%d", 4, 4};
    case DT_U32:
        return ElementScan{"%u", 4, 4};
    case DT_DOUBLE:
        return ElementScan{"%lf", 8, 8};
    default:
        return std::nullopt;
    }
}

struct Matrix {
    const void* values;
    unsigned long size;
    unsigned long width;
};

// Prints a matrix with a format that takes a value and the character after it. Returns false when a value
// can't be written.
template <typename T>
bool printValues(std::FILE* file, const Matrix& matrix, const char* format) {
    for (unsigned long i = 0; i < matrix.size; ++i) {
        T value;
        std::memcpy(&value, static_cast<const std::byte*>(matrix.values) + i * sizeof(T), sizeof(T));
        const char separator = (i + 1) % matrix.width == 0 ? '\n' : ' ';
        if (std::fprintf(file, format, value, separator) < 0)
            return false;
    }
    return true;
}

struct ElementPrint {
    bool (*print)(std::FILE* file, const Matrix& matrix, const char* format);
    const char* format;
};

std::optional<ElementPrint> decimalPrint(_DataType type) {
    switch (type) {
    case DT_U8:
        return ElementPrint{printValues<unsigned char>, "%u%c"};
    case DT_I16:
        return ElementPrint{printValues<short>, "%hd%c"};
    case DT_U16:
        return ElementPrint{printValues<unsigned short>, "%u%c"};
    case DT_I32:
        return ElementPrint{printValues<int>, "%d%c"};
    case DT_U32:
        return ElementPrint{printValues<unsigned int>, "%u%c"};
    case DT_FLOAT:
        return ElementPrint{printValues<float>, "%lf%c"};
    case DT_DOUBLE:
        return ElementPrint{printValues<double>, "%lf%c"};
    default:
        return std::nullopt;
    }
}

std::optional<ElementPrint> hexPrint(_DataType type) {
    switch (type) {
    case DT_U8:
        return ElementPrint{printValues<unsigned char>, "%02X%c"};
    case DT_I16:
        return ElementPrint{printValues<short>, "%04X%c"};
    case DT_U16:
        return ElementPrint{printValues<unsigned short>, "%04X%c"};
    case DT_I32:
        return ElementPrint{printValues<int>, "%08X%c"};
    case DT_U32:
        return ElementPrint{printValues<unsigned int>, "%08X%c"};
    default:
        return std::nullopt;
    }
}

int writeMatrix(const char* path, const Matrix& matrix, std::optional<ElementPrint> element, bool append) {
    StdioFile file = openStdioFile(path, append ? "a+" : "w");
    if (!file)
        return FILE_NOT_OPENED;
    if (!element)
        return FILE_TYPE_REFUSED;
    const ClassicNumbers classic;
    const bool whole = element->print(file.get(), matrix, element->format);
    return closeWritten(std::move(file)) && whole ? FILE_OK : FILE_NOT_WRITTEN;
}

} // namespace

int readAsciiMatrix(const char* path, _DataType type, unsigned long size, void* buffer) {
    const StdioFile file = openStdioFile(path, "r");
    if (!file)
        return FILE_NOT_OPENED;
    const std::optional<ElementScan> scan = elementScan(type);
    if (!scan)
        return FILE_TYPE_REFUSED;

    const ClassicNumbers classic;
    auto* const bytes = static_cast<std::byte*>(buffer);
    for (unsigned long i = 0; i < size; ++i) {
        alignas(double) std::byte value[sizeof(double)];
        if (std::fscanf(file.get(), scan->format, value) != 1)
            return FILE_TOO_SHORT;
        const bool isLast = i + 1 == size;
        std::memcpy(bytes + i * scan->elementSize, value, isLast ? scan->elementSize : scan->storedSize);
    }
    return FILE_OK;
}

int writeAsciiMatrix(const char* path, _DataType type, void* buffer, unsigned long size, unsigned long width,
                     bool append) {
    return writeMatrix(path, {buffer, size, width}, decimalPrint(type), append);
}

int writeAsciiMatrixHex(const char* path, _DataType type, void* buffer, unsigned long size,
                        unsigned long width, bool append) {
    return writeMatrix(path, {buffer, size, width}, hexPrint(type), append);
}
