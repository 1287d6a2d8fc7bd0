#pragma once

#include "base/FileDescriptor.h"
#include "zt/IPrivateFilters.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// A log file for a filter in memory: it cannot fill the disk, and nothing is left if the program is killed.
class QualityLogFile {
public:
    // Throws Error.
    QualityLogFile();

    // The path under which a filter opens it.
    const std::string& path() const { return openPath; }
    std::string text() const;
    void clear();

private:
    FileDescriptor file;
    std::string openPath;
};

// One candidate of a search. V, T and E are texts as in the log, with six digits.
struct QualityValue {
    std::string v;
    std::string t;
    std::string e;
    double value = 0;
};

// The candidates of the last search in the log, in the order in which they were tried; candidates whose value
// is not a number are skipped.
std::vector<QualityValue> readQualityLog(const std::string& text);
// Whether the filter could write all of the log: a search ends with an empty line.
bool isWholeQualityLog(const std::string& text);

// A number as a line of the log has it: with six significant digits.
double loggedNumber(float value);

// The scores in a log, for a filter that does not offer them itself.
class LoggedScores final : public IGridScores {
public:
    explicit LoggedScores(std::span<const QualityValue> candidates);

    std::size_t candidateCount() const override { return points.size(); }
    Point candidate(std::size_t index) const override { return points[index]; }
    std::size_t best() const override { return least(none); }
    std::size_t secondBest() const override { return least(best()); }
    float score(std::size_t index) override { return scores[index]; }

private:
    std::size_t least(std::size_t except) const;

    std::vector<Point> points;
    std::vector<float> scores;
};

} // namespace ombrel
