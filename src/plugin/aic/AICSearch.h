#pragma once

#include "aic/AIC.h"
#include "aic/AICScratch.h"

#include <algorithm>
#include <optional>
#include <string>

// For the sources of c_AIC alone: what its searches have in common.

// What a search is given, and the best that it has found.
struct c_AIC::Search {
    const AICImage& frame;
    const std::string& prefix;
    float* quality;
    bool appendsQualityValues = false;
    std::optional<Position> best = std::nullopt;
};

// The file of quality values for as long as a search runs. An exception leaves it closed without the empty
// line.
class c_AIC::QualityLog {
public:
    explicit QualityLog(c_AIC& owner) : engine(owner) {}
    ~QualityLog() {
        if (engine.QualityValuesStream.is_open())
            engine.QualityValuesStream.close();
    }
    QualityLog(const QualityLog&) = delete;
    QualityLog& operator=(const QualityLog&) = delete;

    void end() {
        if (engine.QualityValuesStream.is_open())
            engine.QualityValuesStream << '\n' << std::flush;
    }

private:
    c_AIC& engine;
};

template <typename Judge>
int c_AIC::forEachCandidate(const AICImage& frame, std::span<const Position> points, Judge judge) {
    prepareKernel();
    const bool byKernel = work->gridSums.has_value();
    if (byKernel)
        work->gridSums->setFrame(frame.pixels());
    while (!points.empty()) {
        const std::size_t count =
            byKernel ? std::min<std::size_t>(points.size(), TilePass::maxCandidates) : 1;
        if (byKernel)
            sumByKernel(points.first(count));
        for (std::size_t i = 0; i < count; ++i) {
            repairImage(points[i]);
            if (!byKernel)
                sumByImages(frame, points[i]);
            if (const int status = judge(points[i], std::span<const float>(work->sums[i])); status != 0)
                return status;
        }
        points = points.subspan(count);
    }
    return 0;
}
