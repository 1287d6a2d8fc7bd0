#include "image/BinCounts.h"
#include "store/BinaryInput.h"
#include "store/CalibrationImages.h"

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <utility>

// The coordinates of the grid on each axis.
struct c_CalibrationImages::GridVectors {
    std::vector<float> v;
    std::vector<float> t;
    std::vector<float> e;
};

namespace {

// Empty when the file has fewer values than it announces. Memory grows with the values that were read, not
// with the announced count.
std::vector<float> readVector(std::istream& file) {
    constexpr std::uint64_t portion = 1 << 16;
    std::uint64_t left = 0;
    readValue(file, left);
    std::vector<float> values;
    while (left > 0) {
        const auto count = static_cast<std::size_t>(std::min(left, portion));
        values.resize(values.size() + count);
        const auto tail = std::span(values).last(count);
        if (readValues(file, tail) != tail.size_bytes())
            return {};
        left -= count;
    }
    return values;
}

// Inserts a midpoint between any two neighbours; the stored values, ascending, get the even indexes.
void addMidpoints(std::vector<float>& values) {
    const std::size_t stored = values.size();
    for (std::size_t i = 1; i < stored; ++i)
        values.push_back((values[i] + values[i - 1]) * 0.5f);
    sortAscending(values);
}

std::string describe(const ImageContainer& point) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << point.Image.cols() << " x " << point.Image.rows() << " at " << point.V << ", " << point.T << ", "
         << point.E;
    return text.str();
}

} // namespace

int c_CalibrationImages::Init(std::string path, InterpolationType interpolation, std::ofstream& logStream) {
    Log = &logStream;
    Interpolation = interpolation;
    Status = 0;
    Images.clear();
    Current = Images.begin();
    imageCols = imageRows = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return fail("c_CalibrationImages::Init error opening ff heap file");
    readValue(file, SensorElementSize);
    CompensateMaskFlag = 0;
    readValue(file, CompensateMaskFlag);
    if (CompensateMaskFlag != 0 && ReadImage(file, &CompensateMask) != 0)
        return fail("c_CalibrationImages::Init compensation mask reading error");
    GridVectors grid;
    grid.v = readVector(file);
    grid.t = readVector(file);
    grid.e = readVector(file);
    const int gridStatus = readGrid(file, grid);
    Current = Images.begin();
    if (gridStatus != 0)
        return gridStatus;
    if (const int status = GenerateInterpolatedImages(); status != 0) {
        writeLog("c_CalibrationImages::Init generating interpolated images error");
        return status;
    }
    return 0;
}

int c_CalibrationImages::readGrid(std::ifstream& file, GridVectors& grid) {
    const auto allAre = [&grid](std::size_t count) {
        return grid.v.size() == count && grid.t.size() == count && grid.e.size() == count;
    };
    VectorType = allAre(3) ? Vectors3x3x3 : allAre(5) ? Vectors5x5x5 : VectorsGeneric;
    const bool midpoints = Interpolation == InterpolationLinear1D;
    if (midpoints) {
        addMidpoints(grid.v);
        addMidpoints(grid.t);
        addMidpoints(grid.e);
    } else {
        Interpolation = InterpolationNone;
    }
    StepV = StepT = StepE = 0;
    if (grid.v.empty() || grid.t.empty() || grid.e.empty())
        return fail("c_CalibrationImages::Init no init vectors passed");
    StepV = static_cast<int>(grid.t.size() * grid.e.size());
    StepT = static_cast<int>(grid.e.size());
    StepE = 1;
    return readGridPoints(file, grid);
}

int c_CalibrationImages::readGridPoints(std::ifstream& file, const GridVectors& grid) {
    for (std::size_t i = 0; i < grid.v.size(); ++i) {
        for (std::size_t j = 0; j < grid.t.size(); ++j) {
            for (std::size_t k = 0; k < grid.e.size(); ++k) {
                const bool midpoint = Interpolation == InterpolationLinear1D && (i | j | k) % 2 != 0;
                Images.push_back({{}, grid.v[i], grid.t[j], grid.e[k], midpoint});
                if (!midpoint && readGridPoint(file, Images.back()) != 0) {
                    Images.pop_back();
                    return fail("c_CalibrationImages::Init calibration image reading error");
                }
            }
        }
    }
    return 0;
}

// A block of at most one column is a hole.
int c_CalibrationImages::readGridPoint(std::ifstream& file, ImageContainer& point) {
    AICImage image;
    if (const int status = ReadImage(file, &image); status != 0)
        return status;
    if (image.cols() <= 1)
        return 0;
    point.Image = std::move(image);
    if (imageCols == 0) {
        imageCols = point.Image.cols();
        imageRows = point.Image.rows();
    } else if (!hasImage(point)) {
        writeLog("c_CalibrationImages::Init calibration image of another size not used (" + describe(point) +
                 ")");
    }
    return 0;
}
