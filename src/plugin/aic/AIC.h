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
struct SearchRecord;

// The adaptive engine: divides a frame by each image of a calibration grid and keeps the flattest quotient.
//
// Operations return 0, or a negative number after a line in the log. The log is flushed immediately; a
// failure to write it affects nothing else. Images are passed by value: move those that are no longer needed.
// Not thread-safe. Throws std::out_of_range when a pixel fits no bin of a histogram, as in a frame of one
// value; the text is meant for the user who has that frame.
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
        float PPBadPixelsDetectorMultiplicator = 3.0f; // times the neighbours' mean; 0 or less: off
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

    // Loads everything that the configuration names; call it again after each change. Returns -2 if the log
    // cannot be created. An open log stays open, but a second Init that names a log ends all output to it.
    // After a failure, and without the calibration, frames are refused.
    int Init(AICCfg configuration, bool loadCalibration);

    // Finds the compensation and returns it at the frame's level, with the settings of the grid point (-1 for
    // a mosaic) and the quality: smaller means flatter. If no candidate has a value, returns 0 and no pixels.
    // With `reportTime` the time of the search goes to standard output. `prefix` precedes the names of all
    // files that a search writes.
    int CompensateImage(AICImage frame, ImageContainer* result, float* quality, std::string prefix,
                        bool reportTime);

    // Why no candidate of the last frame has a value, for the user who has that frame.
    const char* whyWithoutWinner() const;

    // The candidates of the last frame that CompensateImage searched; null before one, and after a frame that
    // it refused. Valid until the next frame or Init.
    const SearchRecord* lastSearch() const;
    // The score of one of them, computed now if the search left it out. NaN if it has none.
    float scoreOf(std::size_t candidate);

    // Multiplies by the mask (null: by the store's compensation mask, if it has one), repairs bad pixels,
    // normalises and clips; without PPEnabled it only divides by the mean. Sets ScaleFactor.
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

    // The magnitude of the high-pass filtered image, after applying the masks.
    int QualityFunctionPreProcess(AICImage image, AICImage* result);
    // Its sum over the tiles, without those above the threshold's quantile.
    int QualityFunction(AICImage image, float* value);
    // Its sum for each tile, one tile column after the other, although the result's shape says rows. The
    // number is not used.
    int QualityMatrix(AICImage image, int unused, AICImage* result);

    // The searches take pre-processed frames and do not restore their level. Of equal candidates the earlier
    // one wins. They refuse what CompensateImage refuses. This one tries every step-th image; `best` is the
    // best grid point.
    int FindOptimalCompensationLinearSearch(AICImage image, ImageContainer* result, int step, float* quality,
                                            Position& best, std::string prefix);
    // Tries the neighbours of a grid point, compared with result and quality of a preceding linear search.
    // Also returns -1 when the point has no predecessor on the axis of E.
    int FindOptimalCompensationLookAround(AICImage image, Position centre, ImageContainer* result,
                                          float* quality, std::string prefix);
    // The best image for each tile. Winners are read at the transposed position of the tile.
    int FindOptimalCompensationMosaic(AICImage image, ImageContainer* result, int step, float* quality,
                                      std::string prefix);

    int QFValuesOutput(Position point, float value, std::string prefix, bool append, bool* opened);
    int DumpCompensationImages(Position point, AICImage quotient, std::string prefix);

    // Read-only for callers: the data loaded by Init, and the state after a frame.
    std::unique_ptr<c_CalibrationImages> CalibrationImages;
    AICCfg Cfg;
    std::ofstream LogStream;
    std::ofstream QualityValuesStream; // open only during a search
    bool BorderMaskEnabled = false;
    AICImage BorderMask;
    bool CustomMaskEnabled = false;
    AICImage CustomMask;
    bool QualityValuesEnabled = false;
    std::unique_ptr<float[]> KernelData;
    int KernelSize = 0;
    bool BadPixelsMaskEnabled = false;
    AICImage BadPixelsMask; // ones and zeros from the first frame on
    float ScaleFactor = 0;  // the level that pre-processing removed from the frame
    int SearchMode = 0;

private:
    struct Search;
    class QualityLog;

    void writeLog(std::string_view line);
    // Writes the line and returns -1.
    int fail(std::string_view line);

    int openLog();
    int loadMasks();
    // Prepares the kernel for frames of the grid's size, if this was not done yet.
    void prepareKernel();
    bool fitsGrid(const AICImage& frame) const;
    // Whether the masks used for a frame, or for the quality function only, have the image's size.
    bool frameMasksFit(const AICImage& image) const;
    bool qualityMasksFit(const AICImage& image) const;
    // Whether an operation would read outside the frame, the kernel or the loaded data; logs the reason.
    bool refuses(const AICImage& frame, bool masksFit, const std::string& operation);

    void removeBadPixels(const AICImage& image, AICImage& result);
    // Counts the pixels in bins; returns -1 for an image without pixels.
    int countPixels(const AICImage& image, float range);

    bool refusesQualityOf(const AICImage& image);
    AICImage highPassMagnitude(AICImage image);
    // Valid until the next call.
    std::span<const float> tileSums(const AICImage& image);
    int scoreTiles(std::span<const float> sums, float* value);

    // Every step-th image of the grid, starting with the first.
    std::span<const Position> walkGrid(int step);
    // Computes the tile sums of one candidate after the other and passes each to `judge`; a non-zero status
    // of `judge` stops the loop. Without tiles there is one sum over all pixels.
    template <typename Judge>
    int forEachCandidate(const AICImage& frame, std::span<const Position> points, Judge judge);
    void sumByKernel(std::span<const Position> points);
    void sumByImages(const AICImage& frame, Position point);
    // The score of an image without tiles, for the frame of work->bands if there are any.
    float wholeScore(const AICImage& frame, Position point);
    void repairImage(Position point);
    AICImage quotient(const AICImage& frame, Position point) const;

    int linearSearch(Search& search, int step);
    int lookAround(Search& search, Position centre);
    int mosaic(Search& search, int step, ImageContainer* result);
    void assembleMosaic(const AICImage& frame, std::span<const Position> winners, AICImage& image) const;
    int evaluate(Search& search, std::span<const Position> points);
    // The same, without the scores of candidates that are surely not among the two best. Returns false, with
    // nothing done, where all scores are wanted or the kernel cannot bound them.
    bool evaluatePruned(Search& search, std::span<const Position> points, int step);
    void note(Search& search, Position point, float value);
    void storeBest(const Search& search, ImageContainer* result) const;

    std::unique_ptr<AICScratch> work;
};
