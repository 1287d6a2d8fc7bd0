#pragma once

#include "zt/IMpxFrame.h"
#include "zt/IObject.h"

#include <cstddef>

// The flat-field filter's private interface, returned by its privateInterface(): object ID 1442418610, name
// "FlatFieldFilterInterface". Paths are UTF-8. Loading and saving return 0 or a negative code. A line in the
// host's log names the coefficient file that could not be read or written; a frame that the host could not
// load is skipped without a line, since the host knows the reason.
class IFFFilter : public zt::IObject {
public:
    // Replaces the coefficients by those from a file: the mean of the flat fields of a frame file, a flat
    // field as an ASCII matrix, or, when the name ends in "ffc", finished coefficients as written by
    // saveCoefficientsToFile. Only the path decides; the flag is ignored. When the file holds no flat field,
    // all coefficients become 1.
    virtual int loadCoefficientsFromFile(const char* path, bool asciiFormat) = 0;
    // Writes the coefficients as doubles without a header, or as ASCII with 256 values a line. Without
    // coefficients it writes no file, logs that, and returns 0.
    virtual int saveCoefficientsToFile(const char* path, bool asciiFormat) = 0;
    // Computes coefficients from the device's last frame, or from the sum of all its acquired frames. If
    // these have sub-frames, the user is asked which to use, so call it on the thread of the user interface.
    // A failure keeps the coefficients, except that a flat field smaller than the device sets all of them to
    // 1.
    virtual int loadCoefficientsFromAcquisition(bool allFrames) = 0;

    virtual bool interpolateBadAndMaskedPixels() const = 0;
    virtual bool useDeviceMaskForBadPixels() const = 0;
    virtual bool useZeroPixelsForBadPixels() const = 0;
    virtual bool useFFCoeffsForBadPixels() const = 0;
    virtual void setInterpolateBadMaskedPixels(bool on) = 0;
    virtual void setUseDeviceMaskForBadPixels(bool on) = 0;
    // Zero pixels and extreme coefficients exclude each other as sources of bad pixels: setting one, to
    // either value, switches the other off.
    virtual void setUseZeroPixelsForBadPixels(bool on) = 0;
    virtual void setUseFFCoeffsForBadPixels(bool on) = 0;
    // Stores the path as the label of the bad pixels' source and switches the device mask off. No file is
    // read. Returns 0.
    virtual int loadBadPixelMaskFromFile(const char* path, bool flag) = 0;
};

// The beam-hardening filter's private interface, returned by its privateInterface(): object ID 1442418600,
// name "BHFilterInterface". Paths are UTF-8. Operations that can fail return 0, or a negative code after a
// line in the host's log that says what failed.
class IBHFilter : public zt::IObject {
public:
    // Adds frame 0 of a file as the mask of a thickness, in the unit of the results. `acqTime` is its time in
    // seconds, or -1 for the frame's own time. Masks keep the order in which they are added; it must be
    // ascending thickness when frames are filtered.
    virtual int addMaskFromFile(const char* path, double thickness, double acqTime) = 0;
    // Adds the sum of the device's acquired frames. If these have sub-frames, the user is asked which to use,
    // so call it on the thread of the user interface.
    virtual int addMaskFromAcqData(double thickness) = 0;
    virtual int removeMask(unsigned int index) = 0;
    virtual int removeAllMasks() = 0;

    // From a frame, or from an ASCII matrix of as many values as the masks have pixels; not 0 is bad. Without
    // masks the first file sets the size: the frame's, or the device's for a matrix. A frame that cannot be
    // read or has another size, and a matrix that cannot be opened, leave the bad pixels unchanged. A matrix
    // that ends early sets only the values that it has; the other pixels keep theirs, or are good when no
    // mask of that size existed.
    virtual int loadBadPixelsFromFile(const char* path) = 0;
    // Writes an ASCII matrix: one row of the masks a line, or 256 values a line without masks.
    virtual int saveBadPixelsToFile(const char* path) = 0;
    // Marks the pixels whose mask values do not fall from each mask to the next.
    virtual int generateBadPixels() = 0;
    // Fills the bad pixels of a frame of doubles from their neighbours.
    virtual int interpolateBadPixels(zt::IMpxFrame* frame) = 0;
    virtual void setInterpolateBadPixelsEnabled(bool on) = 0;
    virtual bool isInterpolateBadPixelsEnabled() const = 0;
    // Pixels of thickness 0 count as bad too.
    virtual void setUseZeroPixelsAsBad(bool on) = 0;
    virtual bool isUseZeroPixelsAsBadEnabled() const = 0;
};

// What the adaptive filter's last search found, for hosts that record the choice. The filter is one itself: a
// dynamic_cast from its zt::IDataFilter finds it, since its privateInterface() is null.
//
// Candidates are the flat fields that the search tried, in that order. Scores are costs: the less, the
// flatter the frame. Everything is valid until the filter's next call that takes a frame, settings or a
// parameter.
class IGridScores {
public:
    struct Point {
        float v;
        float t;
        float e;
    };
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    // 0 before the first search and after a frame that was refused.
    virtual std::size_t candidateCount() const = 0;
    virtual Point candidate(std::size_t index) const = 0;
    // The candidate with the least score and the best of the others, the first of equal ones; or `none`.
    virtual std::size_t best() const = 0;
    virtual std::size_t secondBest() const = 0;
    // NaN if the candidate has none. The search leaves out scores that are surely above those of the two
    // best; such a score is computed now.
    virtual float score(std::size_t index) = 0;

protected:
    ~IGridScores() = default;
};
