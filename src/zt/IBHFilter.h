#pragma once

#include "zt/IMpxFrame.h"
#include "zt/IObject.h"

// The beam-hardening filter's interface of its own, which its privateInterface() gives: object ID 1442418600,
// name "BHFilterInterface". Paths are UTF-8. Operations that can fail return 0, or a negative code after a
// line in the host's log that says what failed.
class IBHFilter : public zt::IObject {
public:
    // Adds frame 0 of a file as the mask of a thickness, in the unit that results shall have. `acqTime` is
    // its time in seconds, or -1 for the frame's own time. The masks are in the order of adding, which has to
    // be that of ascending thickness when frames are filtered.
    virtual int addMaskFromFile(const char* path, double thickness, double acqTime) = 0;
    // Adds the sum of the device's acquired frames. Where these have sub-frames the user is asked which to
    // take, so this belongs on the thread of the user interface.
    virtual int addMaskFromAcqData(double thickness) = 0;
    virtual int removeMask(unsigned int index) = 0;
    virtual int removeAllMasks() = 0;

    // From a frame, or from an ASCII matrix of as many values as the masks have pixels; not 0 is bad. Without
    // masks the first file gives the size: the frame's, or the device's for a matrix. A frame that cannot be
    // read or has another size, and a matrix that cannot be opened, leave the bad pixels as they are. A
    // matrix that ends early gives the values that it has; the other pixels keep theirs, and are good when
    // there were none of that size.
    virtual int loadBadPixelsFromFile(const char* path) = 0;
    // As an ASCII matrix, a row of the masks a line, 256 values without masks.
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
