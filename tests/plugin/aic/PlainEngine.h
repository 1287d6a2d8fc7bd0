#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

// The adaptive engine once more, plain and slow: straight from its definition, with an image of its own and
// nothing of the engine's code. The engine is held against it bit by bit.
namespace plain {

struct Image {
    int cols = 0;
    int rows = 0;
    std::vector<float> pixels; // row by row

    Image() = default;
    Image(int width, int height, float value = 0)
        : cols(width), rows(height),
          pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), value) {}

    float& at(int x, int y) { return pixels.at(index(x, y)); }
    float at(int x, int y) const { return pixels.at(index(x, y)); }

private:
    std::size_t index(int x, int y) const { return static_cast<std::size_t>(y * cols + x); }
};

inline Image product(Image a, const Image& b) {
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        a.pixels[i] *= b.pixels.at(i);
    return a;
}

inline Image quotient(Image a, const Image& b) {
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        a.pixels[i] /= b.pixels.at(i);
    return a;
}

// Correlation, summed column by column; a border of half a kernel stays 0.
Image correlation(const Image& image, const std::vector<float>& kernel, int side);

// Counts of values by floor(value / width); throws std::out_of_range for a value outside.
std::vector<float> histogram(const std::vector<float>& values, float range);

float sumOf(const std::vector<float>& values);

struct QualitySettings {
    Image customMask; // no pixels: none
    Image borderMask; // no pixels: none
    std::vector<float> kernel = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    int tile = 16;
    float threshold = 80; // percent
};

Image highPass(Image image, const QualitySettings& settings);

// Sums of the whole tiles of a filtered image, column of tiles after column of tiles.
std::vector<float> tileSums(const Image& filtered, int tile);

// No value for an image that holds no whole tile.
std::optional<float> quality(const Image& image, const QualitySettings& settings);

struct PreProcessSettings {
    bool enabled = true;
    Image compensateMask; // no pixels: none
    float badPixelRatio = 3;
    Image badPixels; // no pixels: none; above 0.5 is bad
    float lowQuantile = 0.05f;
    float highQuantile = 0.95f;
};

Image withoutBadPixels(const Image& image, const PreProcessSettings& settings);

// Gives the level that the result is multiplied by at the end.
Image preProcessed(const Image& frame, const PreProcessSettings& settings, float& scaleFactor);

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
    // The nearest image on an axis, `direction` +1 or -1; returns -1 if the axis has no further image.
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
