#pragma once

#include "base/FileDescriptor.h"
#include "frame/GridChoice.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A log for a filter to write, in memory: no disk can be full there, and nothing is left when the program is
// killed.
class QualityLogFile {
public:
    // Throws Error.
    QualityLogFile();

    // By which a filter opens it.
    const std::string& path() const { return openPath; }
    std::string text() const;
    void clear();

private:
    FileDescriptor file;
    std::string openPath;
};

// One candidate of a search. V, T and E are as the log writes them, by six digits.
struct QualityValue {
    std::string v;
    std::string t;
    std::string e;
    double value = 0;
};

// The candidates of the last search in the log, in the order in which they were tried; what is not a number
// is left out.
std::vector<QualityValue> readQualityLog(const std::string& text);
// Whether the filter could write all of it: a search ends with an empty line.
bool isWholeQualityLog(const std::string& text);

// The candidate with the least value, the earliest of them, and the one next to it; none without candidates.
std::optional<GridChoice> choiceOf(const std::vector<QualityValue>& candidates);

} // namespace ombrel
