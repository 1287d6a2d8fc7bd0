#include "standalone/cli/AdaptiveQualityLog.h"

#include "standalone/CsvLine.h"
#include "standalone/Error.h"
#include "standalone/NumberText.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string_view>

namespace ombrel::cli {

namespace {

// A grid point as the log writes it.
struct LoggedPoint {
    std::string v;
    std::string t;
    std::string e;

    bool operator==(const LoggedPoint&) const = default;
};

std::string streamed(float value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

struct LoggedValue {
    LoggedPoint point;
    double value = 0;
};

// "[ V, T, E, value ]"
std::optional<LoggedValue> readLine(const std::string& line) {
    if (!line.starts_with("[ ") || !line.ends_with(" ]"))
        return std::nullopt;
    const auto fields = splitCsvLine(std::string_view(line).substr(2, line.size() - 4));
    if (!fields || fields->size() != 4)
        return std::nullopt;
    const auto value = readNumber<double>((*fields)[3]);
    if (!value)
        return std::nullopt;
    return LoggedValue{{(*fields)[0], (*fields)[1], (*fields)[2]}, *value};
}

} // namespace

std::optional<SearchOutcome> searchOutcome(const std::string& logPath, const GridPoint& right) {
    std::ifstream log(logPath);
    if (!log)
        throw Error(logPath + ": the filter wrote no quality values there");
    const LoggedPoint wanted{streamed(right.v), streamed(right.t), streamed(right.e)};
    constexpr double none = std::numeric_limits<double>::infinity();
    std::optional<double> own;
    double before = none; // least of the other points in front of the right one
    double behind = none;
    for (std::string line; std::getline(log, line);) {
        const auto logged = readLine(line);
        if (!logged || std::isnan(logged->value))
            continue;
        if (logged->point == wanted)
            own = std::min(own.value_or(none), logged->value);
        else
            (own ? behind : before) = std::min(own ? behind : before, logged->value);
    }
    if (!own)
        return std::nullopt;
    const double other = std::min(before, behind);
    return SearchOutcome{*own < before && *own <= behind, other == *own ? 0 : (other - *own) / *own};
}

} // namespace ombrel::cli
