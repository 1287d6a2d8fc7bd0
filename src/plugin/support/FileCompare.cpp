#include "support/FileCompare.h"

#include "support/FileSize.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

namespace {

constexpr unsigned long largestBuffer = 1ul << 20;

} // namespace

bool isFilesEqual(const char* a, const char* b, unsigned long bufferSize) {
    const long size = fileSize(a);
    if (size < 0 || size != fileSize(b))
        return false;
    std::ifstream fileA(a, std::ios::binary);
    std::ifstream fileB(b, std::ios::binary);
    if (!fileA.is_open() || !fileB.is_open())
        return false;

    // How much is read at a time does not change the result; with nothing at a time there would be none.
    const auto chunk = static_cast<std::streamsize>(std::clamp(bufferSize, 1ul, largestBuffer));
    std::vector<char> bufferA(static_cast<std::size_t>(chunk));
    std::vector<char> bufferB(bufferA.size());
    while (fileA.good() || fileB.good()) {
        fileA.read(bufferA.data(), chunk);
        fileB.read(bufferB.data(), chunk);
        if (std::memcmp(bufferA.data(), bufferB.data(), static_cast<std::size_t>(fileA.gcount())) != 0)
            return false;
    }
    return true;
}
