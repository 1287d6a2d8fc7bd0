#pragma once

#include "aic/AIC.h"
#include "aic/AICScratch.h"

#include <algorithm>
#include <optional>
#include <string>

// Private to the sources of c_AIC: the common parts of its searches.

// The input of a search, and its best result so far.
struct c_AIC::Search {
    const AICImage& frame;
    const std::string& prefix;
    float* quality;
    bool appendsQualityValues = false;
    std::optional<Position> best = std::nullopt;
};

// Closes the file of quality values at the end of a search. After an exception the final empty line is
// missing.
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
    else if (work->bands)
        work->bands->setFrame(frame.pixels());
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
