#include "inspection/FieldDrift.h"

#include "inspection/FlatInspection.h"
#include "inspection/TileStructure.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

namespace ombrel {

namespace {

constexpr std::size_t leastForDrift = 8;
constexpr double levelSigmas = 6;      // of the line's slope, against the scatter of the levels
constexpr double faintTile = 0.05;     // of the mean tile
constexpr double smallestLevel = 1e-3; // smaller changes of the level are not worth a message

// A straight line over the numbers of the good frames.
class LineFit {
public:
    explicit LineFit(const InspectionReport& report) {
        for (std::size_t k = 0; k < report.fields.size(); ++k)
            if (report.fields[k].verdict == Verdict::Good)
                frames.push_back(k);
        if (frames.empty())
            return;
        const double middle = static_cast<double>(std::reduce(frames.begin(), frames.end())) /
                              static_cast<double>(frames.size());
        for (const std::size_t frame : frames) {
            distances.push_back(static_cast<double>(frame) - middle);
            squares += distances.back() * distances.back();
        }
    }

    std::span<const std::size_t> numbers() const { return frames; }
    double length() const { return distances.back() - distances.front(); }
    // The change from the first to the last frame, of values of the frames in numbers().
    double change(std::span<const double> values) const {
        return std::inner_product(values.begin(), values.end(), distances.begin(), 0.0) / squares * length();
    }
    // The standard deviation of change(), for values of that standard deviation.
    double deviation(double ofValue) const { return ofValue / std::sqrt(squares) * length(); }
    // The standard deviation of the values from the line.
    double scatter(std::span<const double> values) const {
        const double mean = std::reduce(values.begin(), values.end()) / static_cast<double>(values.size());
        const double slope = change(values) / length();
        double sum = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double rest = values[i] - mean - slope * distances[i];
            sum += rest * rest;
        }
        return std::sqrt(sum / static_cast<double>(values.size() - 2));
    }

private:
    std::vector<std::size_t> frames;
    std::vector<double> distances; // from the middle
    double squares = 0;
};

void addLevel(FieldDrift& drift, const InspectionReport& report, const LineFit& line) {
    std::vector<double> levels;
    for (const std::size_t frame : line.numbers())
        levels.push_back(report.fields[frame].relativeLevel);
    drift.level = line.change(levels);
    drift.isLevel = std::abs(drift.level) > smallestLevel &&
                    std::abs(drift.level) > levelSigmas * line.deviation(line.scatter(levels));
}

void addPattern(FieldDrift& drift, const TileStructure& structure, const LineFit& line) {
    const TileTable& sums = structure.sums();
    std::vector<double> totals;
    for (const std::size_t frame : line.numbers())
        totals.push_back(std::reduce(sums[frame].begin(), sums[frame].end()));
    const double all = std::reduce(totals.begin(), totals.end());
    const auto count = static_cast<double>(totals.size());
    double worst = 0;
    std::vector<double> parts(totals.size());
    for (std::size_t tile = 0; tile < structure.grid().count(); ++tile) {
        double sum = 0;
        for (const std::size_t frame : line.numbers())
            sum += sums[frame][tile];
        if (!(sum > faintTile * all / static_cast<double>(structure.grid().count())))
            continue;
        for (std::size_t i = 0; i < parts.size(); ++i)
            parts[i] = sums[line.numbers()[i]][tile] / totals[i] * all / sum;
        const double change = line.change(parts);
        const double sigma = change / line.deviation(structure.noise() / std::sqrt(sum / count));
        if (std::abs(sigma) > worst) {
            worst = std::abs(sigma);
            drift.pattern = change;
            drift.tile = structure.grid().region(tile);
        }
    }
    drift.isPattern = worst > structure.limit();
}

} // namespace

std::optional<FieldDrift> driftOf(const InspectionReport& report, const TileStructure& structure) {
    const LineFit line(report);
    if (line.numbers().size() < leastForDrift)
        return std::nullopt;
    FieldDrift drift;
    addLevel(drift, report, line);
    if (structure.obstacle().empty())
        addPattern(drift, structure, line);
    return drift;
}

} // namespace ombrel
