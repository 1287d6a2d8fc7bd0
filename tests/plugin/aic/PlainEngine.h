#pragma once

#include "PlainPreProcess.h"
#include "PlainQuality.h"

#include <map>
#include <string>
#include <vector>

namespace plain {

struct GridPoint {
    Image image; // no pixels: a hole
    float v = 0;
    float t = 0;
    float e = 0;
};

// E runs fastest, then T, then V.
struct Grid {
    int vCount = 0;
    int tCount = 0;
    int eCount = 0;
    std::vector<GridPoint> points;
};

enum class Search { Linear, LookAround, Mosaic };

struct Settings {
    Search search = Search::Linear;
    PreProcessSettings preProcess;
    QualitySettings quality;
    std::string qualityLog; // name of the file of quality values, empty: none
    bool dump = false;
};

struct Result {
    int status = 0;
    GridPoint best;
    float quality = 0;
};

// Ones, with zeros along the borders of sensor elements.
Image borderMask(int cols, int rows, int elementSize, int halfWidth);

class Engine {
public:
    Engine(Settings settings, Grid grid);

    Result compensate(const Image& frame);

    std::string log;                          // what the engine's log holds
    std::map<std::string, std::string> files; // what stands in files by then

private:
    int linear(const Image& frame, int step, Result& result);
    int lookAround(const Image& frame, Result& result);
    int mosaic(const Image& frame, Result& result);
    bool evaluate(const Image& frame, std::size_t candidate, bool append, Result& result);
    Image candidateQuotient(const Image& frame, std::size_t candidate);
    // The nearest image on an axis, `direction` +1 or -1; -1 when there is none.
    int neighbour(std::size_t point, int axis, int direction) const;
    bool fits(const Image& frame) const;
    void noteQuality(const GridPoint& point, float value, bool append);
    void dump(const GridPoint& point, const Image& quotientImage);
    void endQualityLog();
    int fail(const std::string& line);

    Settings settings;
    Grid grid;
    std::size_t best = 0;
    bool qualityLogOpen = false;
};

} // namespace plain
