#include "calibration/AdaptiveQualityLog.h"

#include <algorithm>
#include <limits>
#include <sstream>

namespace ombrel {

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

} // namespace

std::optional<SearchOutcome> searchOutcome(const std::string& logText, const GridPoint& right) {
    const LoggedPoint wanted{streamed(right.v), streamed(right.t), streamed(right.e)};
    constexpr double none = std::numeric_limits<double>::infinity();
    std::optional<double> own;
    double before = none; // least of the other points in front of the right one
    double behind = none;
    for (const QualityValue& logged : readQualityLog(logText)) {
        if (LoggedPoint{logged.v, logged.t, logged.e} == wanted)
            own = std::min(own.value_or(none), logged.value);
        else
            (own ? behind : before) = std::min(own ? behind : before, logged.value);
    }
    if (!own)
        return std::nullopt;
    const double other = std::min(before, behind);
    return SearchOutcome{*own < before && *own <= behind, other == *own ? 0 : (other - *own) / *own};
}

} // namespace ombrel
