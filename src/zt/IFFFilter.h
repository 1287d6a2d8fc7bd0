#pragma once

#include "zt/IObject.h"

// The flat-field filter's interface of its own, which its privateInterface() gives: object ID 1442418610,
// name "FlatFieldFilterInterface". Paths are UTF-8. Loading and saving return 0 or a negative code. A line in
// the host's log says which coefficient file could not be read or written; a frame that the host could not
// load is left out without a line, since the host knows the reason.
class IFFFilter : public zt::IObject {
public:
    // Replaces the coefficients by those from a file: the mean of the flat fields of a frame file, a flat
    // field as an ASCII matrix, or, when the name ends in "ffc", finished coefficients as
    // saveCoefficientsToFile writes them. The path alone decides; the flag is ignored. A load that
    // finds no flat field leaves coefficients of 1.
    virtual int loadCoefficientsFromFile(const char* path, bool asciiFormat) = 0;
    // Writes the coefficients as doubles without a header, or as ASCII with 256 values a line. Without
    // coefficients it writes no file, logs that, and returns 0.
    virtual int saveCoefficientsToFile(const char* path, bool asciiFormat) = 0;
    // Makes coefficients of the device's last frame, or of the sum of all its acquired frames. Where these
    // have sub-frames the user is asked which to take, so this belongs on the thread of the user interface. A
    // failure keeps the coefficients, except that a flat field smaller than the device leaves ones.
    virtual int loadCoefficientsFromAcquisition(bool allFrames) = 0;

    virtual bool interpolateBadAndMaskedPixels() const = 0;
    virtual bool useDeviceMaskForBadPixels() const = 0;
    virtual bool useZeroPixelsForBadPixels() const = 0;
    virtual bool useFFCoeffsForBadPixels() const = 0;
    virtual void setInterpolateBadMaskedPixels(bool on) = 0;
    virtual void setUseDeviceMaskForBadPixels(bool on) = 0;
    // Zero pixels and extreme coefficients exclude each other as sources of bad pixels: setting one, to
    // whatever, switches the other off.
    virtual void setUseZeroPixelsForBadPixels(bool on) = 0;
    virtual void setUseFFCoeffsForBadPixels(bool on) = 0;
    // Keeps the path as the label of the bad pixels' source and switches the device mask off. No file is
    // read. 0.
    virtual int loadBadPixelMaskFromFile(const char* path, bool flag) = 0;
};
