#pragma once

#include "image/AICImage.h"
#include "tiles/HighPass.h"
#include "tiles/Kernels.h"
#include "tiles/TileSums.h"

#include <cstddef>
#include <optional>
#include <span>

// The least of an image's pixels, which are above 0 or infinite; 0 if one is NaN.
float darkestPixel(const float* pixels, std::size_t count, const Kernels& kernels);

// Scores of whole images without tiles: the sum of high-pass magnitudes over all pixels, band by band, so
// that a search can stop early. Bands are added in any order; the score of the definition, which adds pixel
// by pixel, follows from the sum wherever both surely round to the same float.
class BandScores {
public:
    // Supports kernels of 3 x 3 of TapShape's Cross and Ring with a centre of 0 or more, and masks of factors
    // 0 and 1 that have the images' size.
    static bool serves(int cols, int rows, const HighPass& highPass, const QualityMasks& masks);

    BandScores(int cols, int rows, const HighPass& highPass, const QualityMasks& masks,
               const Kernels& kernels);

    // Sets the frame of the following sums; it is copied.
    void setFrame(std::span<const float> pixels);
    // Whether no value can become infinite or NaN, for images without NaN whose darkest pixel is this.
    bool staysFinite(float darkest) const;

    std::size_t bandCount() const { return bands; }
    // The sum of a band for an image. Images have the size of the frame, and pixels above 0 or infinite.
    double sum(const float* image, std::size_t band) const;
    // A sum that is at most that of any image the reciprocals of whose pixels are between these.
    double least(const float* leastFactors, const float* greatestFactors, std::size_t band) const;

    // The score of an image whose bands have that sum; nothing if it could be one of two floats.
    std::optional<float> score(double sum) const;
    // A score that is at most that of an image whose bands have at least that sum.
    float leastScore(double sum) const { return static_cast<float>(sum * (1 - rounding)); }

private:
    BandPass passOf(std::size_t band) const;

    std::ptrdiff_t cols;
    std::ptrdiff_t rows;
    std::ptrdiff_t bandRows;
    std::ptrdiff_t workRow;
    std::size_t bands;
    double rounding; // more than two orders of adding can differ, relative
    Kernels loops;
    TapShape shape;
    float centre;
    double magnitudes;            // sum of the taps'
    AlignedVector<float> factors; // of the masks; empty: all 1
    AlignedVector<float> frame;
    double brightest = 0;
    mutable AlignedVector<float> work;
};
