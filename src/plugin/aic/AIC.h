#pragma once

#include "image/AICImage.h"
#include "store/CalibrationImages.h"
#include "tiles/Kernels.h"

#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct AICScratch;

// The adaptive engine: divides a frame by each image of a calibration grid and keeps the quotient that is
// flattest.
//
// Operations return 0, or a negative number after a line in the log, which is flushed at once and has no
// effect on anything else. Images go in by value: move them where they are not needed any more. Not for two
// threads at once. Throws std::out_of_range where a pixel has no bin in a histogram, as in a frame of one
// value; its text is for the user who has that frame.
class c_AIC {
public:
    struct AICCfg {
        std::string DataFile;             // calibration heap file
        int Interpolation = 0;            // c_CalibrationImages::InterpolationType
        int Search = 0;                   // 0 linear, 1 look around, 2 mosaic
        std::string LogFile;              // empty: no log
        std::string LogQualityValuesFile; // empty: none; limited to 255 bytes together with a search's prefix
        bool DumpCompensationImages = false;           // each candidate as text images
        bool PPEnabled = true;                         // pre-processing
        float PPBadPixelsDetectorMultiplicator = 3.0f; // to the neighbours' mean; 0 or less: off
        std::string BadPixelsCustomMaskFile;           // image block, above 0.5 is bad
        float PPMedianMin = 0.05f;                     // quantiles of clipping
        float PPMedianMax = 0.95f;
        std::string CustomMaskFile; // image block, factors of the quality function
        int QfBorderMaskSize = 2;   // pixels on both sides of a sensor element's edge; 0 or less: none
        std::vector<float> Kernel = {0, -1, 0, -1, 5, -1, 0, -1, 0}; // square, row after row
        int QfTileSize = 16;                                         // pixels; below 1: no tiles
        float QfTileThreshold = 80.0f; // percent; tiles above this quantile do not count
    };

    using Position = c_CalibrationImages::Position;

    explicit c_AIC(const Kernels& kernels = bestKernels());
    ~c_AIC();
    c_AIC(const c_AIC&) = delete;
    c_AIC& operator=(const c_AIC&) = delete;

    // Loads all that the configuration names; again after each change of it. -2: the log cannot be made. A
    // log that is open stays so, but the second Init that names one ends what is written to it. After a
    // failure, and without the calibration, frames are refused.
    int Init(AICCfg configuration, bool loadCalibration);

    // Finds the compensation and gives it at the frame's level, with the settings of the grid point (-1 for a
    // mosaic) and the quality: the smaller the flatter. No candidate with a value: 0, and no pixels. With
    // `reportTime` the time of the search goes to standard output. `prefix` stands before the names of all
    // files that a search writes.
    int CompensateImage(AICImage frame, ImageContainer* result, float* quality, std::string prefix,
                        bool reportTime);

    // Multiplies by the mask (null: by the store's compensation mask, if it has one), repairs bad pixels,
    // normalises and clips; without PPEnabled only divides by the mean. Sets ScaleFactor.
    int PreProcess(AICImage image, AICImage* result, AICImage* mask);
    int RemoveBadPixels(AICImage image, AICImage* result);
    // Replaces each pixel whose mask is exactly 1 by the median around it.
    int MaskPixelByMedian(AICImage image, AICImage mask, AICImage* result);
    int TruncateToMedian(AICImage image, AICImage* result, float lowQuantile, float highQuantile,
                         float range);
    int Quantile2(AICImage image, float lowQuantile, float highQuantile, float* low, float* high,
                  float range);
    int Quantile(AICImage image, float quantile, float* value, float range);
    int Histogram(AICImage image, std::vector<float>* bins, float range);

    // The magnitude of the high-pass filtered image, masks applied before.
    int QualityFunctionPreProcess(AICImage image, AICImage* result);
    // Its sum over the tiles, without those above the threshold's quantile.
    int QualityFunction(AICImage image, float* value);
    // Its sum for each tile, tile column after tile column, though the result's shape says rows. The number
    // is not used.
    int QualityMatrix(AICImage image, int unused, AICImage* result);

    // The searches take pre-processed frames and leave their level alone. Of equal candidates the earlier
    // wins. They refuse what CompensateImage refuses. Every step-th image; gives the best grid point.
    int FindOptimalCompensationLinearSearch(AICImage image, ImageContainer* result, int step, float* quality,
                                            Position& best, std::string prefix);
    // The neighbours of a grid point, against result and quality as a linear search left them. -1 also when
    // there is none before it on the axis of E.
    int FindOptimalCompensationLookAround(AICImage image, Position centre, ImageContainer* result,
                                          float* quality, std::string prefix);
    // The best image for each tile. Winners are read at the transposed place of the tile.
    int FindOptimalCompensationMosaic(AICImage image, ImageContainer* result, int step, float* quality,
                                      std::string prefix);

    int QFValuesOutput(Position point, float value, std::string prefix, bool append, bool* opened);
    int DumpCompensationImages(Position point, AICImage quotient, std::string prefix);

    // What Init has loaded, and what frames leave behind: to look at.
    std::unique_ptr<c_CalibrationImages> CalibrationImages;
    AICCfg Cfg;
    std::ofstream LogStream;
    std::ofstream QualityValuesStream; // open during a search alone
    bool BorderMaskEnabled = false;
    AICImage BorderMask;
    bool CustomMaskEnabled = false;
    AICImage CustomMask;
    bool QualityValuesEnabled = false;
    std::unique_ptr<float[]> KernelData;
    int KernelSize = 0;
    bool BadPixelsMaskEnabled = false;
    AICImage BadPixelsMask; // ones and zeros from the first frame on
    float ScaleFactor = 0;  // the level that pre-processing took from the frame
    int SearchMode = 0;

private:
    struct Search;
    class QualityLog;

    void writeLog(std::string_view line);
    // Writes the line and gives -1.
    int fail(std::string_view line);

    int openLog();
    int loadMasks();
    // Makes ready what the kernel needs for frames of the grid's size, unless it is.
    void prepareKernel();
    bool fitsGrid(const AICImage& frame) const;
    // Whether the masks in use for a frame, or for the quality function alone, have the image's size.
    bool frameMasksFit(const AICImage& image) const;
    bool qualityMasksFit(const AICImage& image) const;
    // Whether an operation would read outside the frame, the kernel or what Init has loaded; the log says so.
    bool refuses(const AICImage& frame, bool masksFit, const std::string& operation);

    void removeBadPixels(const AICImage& image, AICImage& result);
    // Counts the pixels in bins, unless there are none: -1.
    int countPixels(const AICImage& image, float range);

    bool refusesQualityOf(const AICImage& image);
    AICImage highPassMagnitude(AICImage image);
    // Valid up to the next call.
    std::span<const float> tileSums(const AICImage& image);
    int scoreTiles(std::span<const float> sums, float* value);

    // Every step-th image of the grid, from the first on.
    std::span<const Position> walkGrid(int step);
    // Tile sums of one candidate after the other, each handed to `judge` for a status that ends it; a single
    // sum of all where there are no tiles.
    template <typename Judge>
    int forEachCandidate(const AICImage& frame, std::span<const Position> points, Judge judge);
    void sumByKernel(std::span<const Position> points);
    void sumByImages(const AICImage& frame, Position point);
    void repairImage(Position point);
    AICImage quotient(const AICImage& frame, Position point) const;

    int linearSearch(Search& search, int step);
    int lookAround(Search& search, Position centre);
    int mosaic(Search& search, int step, ImageContainer* result);
    void assembleMosaic(const AICImage& frame, std::span<const Position> winners, AICImage& image) const;
    int evaluate(Search& search, std::span<const Position> points);
    void note(Search& search, Position point, float value);
    void storeBest(const Search& search, ImageContainer* result) const;

    std::unique_ptr<AICScratch> work;
};
