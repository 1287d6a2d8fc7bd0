#pragma once

#include "image/AICImage.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The calibration set of the adaptive engine, completely in memory: images at the points of a grid of three
// settings V, T and E, and a mask that multiplies every frame.
//
// A store is loaded once, by Init. Operations return 0, or -1 after a line in the log. Walks over the grid
// also return 0 when they find no image: their ResultType says so. Not thread-safe.
//
// An image whose size differs from that of the first one with pixels is kept, but counts as a hole for every
// walk and for the interpolation; see hasImage().
class c_CalibrationImages {
public:
    enum InterpolationType : int {
        InterpolationNone = 0,
        // A midpoint between any two neighbouring values of V, T and E, interpolated along one axis.
        InterpolationLinear1D = 1,
    };

    // Shape of the grid as stored in the file.
    enum VectorsType : int {
        VectorsGeneric = 0,
        Vectors3x3x3 = 1,
        Vectors5x5x5 = 2,
    };

    enum ParamType : int {
        ParamV = 0,
        ParamT = 1,
        ParamE = 2,
        ParamNone = 3,
    };

    enum ResultType : int {
        ResultOk = 0,
        ResultError = -1,
        ResultNoPrevious = -3,
        ResultNoNext = -4,
        ResultNotFound = -5,
    };

    using ImageList = std::vector<ImageContainer>;
    using Position = ImageList::iterator;

    c_CalibrationImages() = default;
    // Current points into Images.
    c_CalibrationImages(const c_CalibrationImages&) = delete;
    c_CalibrationImages& operator=(const c_CalibrationImages&) = delete;

    // Loads a heap file and interpolates. An interpolation other than 0 and 1 counts as 0. A failure leaves
    // the store partly filled and unusable. Throws std::length_error for an image with one negative side.
    int Init(std::string path, InterpolationType interpolation, std::ofstream& logStream);
    // An empty store with a log.
    int Init(std::ofstream& logStream);

    // Reads one image block: columns and rows as signed 32-bit integers, then the pixels as floats, row by
    // row. If the file ends before the pixels do, the missing ones are 0; but an image of more than 2^28
    // pixels must be complete. An image without pixels is a failure. Throws std::length_error for one
    // negative side.
    int ReadImage(std::ifstream& file, AICImage* image);
    int ReadImage(const char* fileName, AICImage* image);
    // Reads lines of decimal numbers. Rows are the lines, columns the count of numbers divided by the lines,
    // which must have no remainder and be at least 2; pixels already in the image come first.
    int ReadImageTxt(const char* fileName, AICImage* image);
    int WriteImage(AICImage image, std::ofstream& file);
    // One line for each row, six significant digits, separated by blanks.
    int WriteImageTxt(AICImage image, std::string fileName);

    int GetVectorType(VectorsType* type) const;
    int GetSensorElementSize(int* size) const;
    // Grid points, holes included.
    int GetImagesNumber(int* number) const;
    // Size of the first grid point's image; 0 x 0 when it is a hole.
    int GetImagesSize(int* cols, int* rows) const;
    int CompensateMaskExists(bool* exists) const;
    int GetCompensateMask(AICImage* mask) const;

    // Whether the grid point has an image that the search may use.
    bool hasImage(const ImageContainer& point) const;

    // The cursor moves in list order.
    int ResetToFirstImage();
    int GetFirstImage(Position& found, ResultType* result);
    int GetCurrentImage(Position& found, ResultType* result);
    // Does not move after the last image (with `includeEmpty`: after the last grid point).
    int GetNextImage(Position& found, ResultType* result, bool includeEmpty);

    // Distance in Images between two neighbours on an axis.
    int GetImageStep(ParamType axis, int* step) const;
    // The nearest image after (before) `start` on an axis, skipping holes; without `includeInterpolated` only
    // images from the file count. The cursor is not moved.
    int GetNextImage(Position start, Position& found, ParamType axis, ResultType* result,
                     bool includeInterpolated);
    int GetPreviousImage(Position start, Position& found, ParamType axis, ResultType* result,
                         bool includeInterpolated);

    // The two images to interpolate a grid point from, on the axis where the sum of their absolute parameter
    // values is smallest (V before T before E among equals); ParamNone when no axis has images on both sides.
    int GetBaseImages(Position point, Position& next, Position& previous, ParamType* axis,
                      bool includeInterpolated);
    // Fills one grid point, if it has base images.
    int GetLinearInterpolatedImage1D(Position point, bool* done, bool includeInterpolated);
    // point = next + (previous - next) * (p(point) - p(next)) / (p(previous) - p(next)), for three different
    // grid points, where p is the parameter of the axis.
    int CombineLinear1D(Position next, Position previous, Position point, ParamType axis);
    int GenerateInterpolatedImages();
    int GenerateLinearInterpolatedImages1D();

    int Status = 0;
    std::ofstream* Log = nullptr; // not owned
    int StepV = 0;
    int StepT = 0;
    int StepE = 0;
    int SensorElementSize = 0; // side of one sensor element in pixels
    int CompensateMaskFlag = 0;
    AICImage CompensateMask;
    ImageList Images; // E varies fastest, then T, then V
    Position Current = Images.begin();
    InterpolationType Interpolation = InterpolationNone;
    VectorsType VectorType = VectorsGeneric;

private:
    struct GridVectors;
    struct AxisBase;
    class NearestImages;
    using AxisBases = std::array<AxisBase, 3>;

    void writeLog(std::string_view text) const;
    // Writes the line and returns -1.
    int fail(std::string_view text) const;

    int readGrid(std::ifstream& file, GridVectors& grid);
    int readGridPoints(std::ifstream& file, const GridVectors& grid);
    int readGridPoint(std::ifstream& file, ImageContainer& point);
    // Whether a walk along an axis may stop at the grid point.
    bool isBase(const ImageContainer& point, bool includeInterpolated) const;
    // The first image at `stride`, 2 * stride, ... from `start`; false when no image is on the same line of
    // the grid.
    bool findOnLine(Position start, std::ptrdiff_t stride, ParamType axis, bool includeInterpolated,
                    Position& found);
    // Whether the index is in the grid and on the line of `start`; then sets `found` to its position.
    bool isOnLine(Position start, std::ptrdiff_t place, ParamType axis, Position& found);

    int findBases(Position point, bool includeInterpolated, AxisBases& bases);
    static std::optional<ParamType> chooseAxis(const AxisBases& bases);
    int interpolate(Position point, const AxisBases& bases, bool* done);

    // Size of the first image that has pixels, or 0 x 0 before there is one.
    int imageCols = 0;
    int imageRows = 0;
};
