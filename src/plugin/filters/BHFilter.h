#pragma once

#include "filters/DeviceFilter.h"
#include "kernels/Buffer.h"
#include "kernels/KeptFills.h"
#include "kernels/PixelBits.h"
#include "kernels/ThicknessWalk.h"
#include "zt/IMpxFrame.h"
#include "zt/IPrivateFilters.h"
#include "zt/Types.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace PluginOmbrel {

// A frame measured through a known thickness. Its values are measured counts; filtering the first frame
// replaces them by logarithms of the count rate.
class ThicknessMask {
public:
    ThicknessMask(std::string maskName, zt::u64 maskWidth, zt::u64 maskHeight, double seconds,
                  double maskThickness)
        : acqTime(seconds), thickness(maskThickness), name(std::move(maskName)), width(maskWidth),
          height(maskHeight) {}
    virtual ~ThicknessMask() = default;

    Buffer<double> data;    // one a pixel, row by row
    Buffer<double> tdiData; // one a column, the mean of its values
    double acqTime;         // seconds
    double thickness;       // in the unit of corrected frames
    std::string name;
    zt::u64 width;
    zt::u64 height;
    bool logarithmed = false; // the values are logarithms
};

class DlgBHStg;

// The beam-hardening correction: turns a frame into a map of thickness, pixel by pixel, using masks measured
// through known thicknesses. Between the two masks that enclose a pixel's count rate, thickness is a straight
// line in the logarithm of the rate; below the thinnest and above the thickest mask the line is extrapolated.
// The result is a frame of doubles in the masks' unit of thickness; nothing is clamped.
//
// It needs masks, added or from settings, in the order of ascending thickness. Masks, the mask of bad pixels
// and its working copy persist between frames, so one instance corrects one frame at a time.
class BHFilter : public DeviceFilter, public IBHFilter {
public:
    using Masks = std::vector<std::unique_ptr<ThicknessMask>>;

    // As a mask's time: use the time of the frames.
    static constexpr double AUTO = -1.0;

    BHFilter(zt::IZenteo* zenteo, zt::IDevMpx* device);

    void filterNameStr(zt::IString* out) const override { out->set("Beam-hardening"); }
    void filterDescriptionStr(zt::IString* out) const override {
        out->set("Beam-hardening correction of frame");
    }
    zt::IDataFilter* createNewInstance() const override { return new BHFilter(host, dev); }
    zt::IData* filter(const zt::IData* data) override;
    int filterReplace(zt::IData* data) override;
    bool hasConfigGUI() const override { return true; }
    // Implemented with the dialogs.
    void showConfigGUI() override;
    int saveToSettings(zt::ISettings* settings) override;
    // Masks that are incomplete in the store are skipped, with a line in the log each.
    int loadFromSettings(zt::ISettings* settings) override;
    void* privateInterface() override { return static_cast<IBHFilter*>(this); }
    ~BHFilter() override;

    int addMaskFromFile(const char* path, double thickness, double acqTime) override;
    // Adds the sum of all frames of all frame files as one mask, whose time is the sum of theirs; a given
    // `acqTime` is the time of each frame. Other files are skipped, and unreadable frames are logged.
    virtual int addMaskFromFiles(std::vector<std::string> files, double thickness, double acqTime);
    // Accepts frames of 16 bit signed, 32 bit unsigned and double pixels.
    virtual int addMaskFromFrame(const zt::IMpxFrame* frame, double thickness, double acqTime);
    int addMaskFromAcqData(double thickness) override;
    int removeMask(unsigned int index) override;
    int removeAllMasks() override;
    int loadBadPixelsFromFile(const char* path) override;
    int saveBadPixelsToFile(const char* path) override;
    int generateBadPixels() override;
    int interpolateBadPixels(zt::IMpxFrame* frame) override;
    void setInterpolateBadPixelsEnabled(bool on) override { interpolateOn = on; }
    bool isInterpolateBadPixelsEnabled() const override { return interpolateOn; }
    void setUseZeroPixelsAsBad(bool on) override { useZeroAsBad = on; }
    bool isUseZeroPixelsAsBadEnabled() const override { return useZeroAsBad; }
    // Corrects in place a frame that took `acqTime` seconds. Returns 0 or ERR_INVALID_INPUT.
    virtual int filterFrame(zt::IMpxFrame* frame, double acqTime);
    // Time-delayed integration: all pixels of a column share the mean of the masks' column.
    virtual void setTDI(bool on) { tdiOn = on; }
    // Callers may change time, thickness and name, but not the values.
    virtual const Masks& masks() const { return maskList; }
    // The last logged message, up to its first zero; more zeros follow.
    virtual std::string lastError() const { return lastErrorText; }
    zt::u32 getObjectID() const override { return 1442418600; }
    const char* getObjectName() const override { return "BHFilterInterface"; }

    // Sorts by ascending thickness.
    void sortMasks();
    // Replaces the counts of masks by logarithms of the count rate, where this was not done yet. Stops, with
    // a line in the log, at a mask without a time.
    void logarithmMasks();
    using DeviceFilter::saveToSettingsFile;

private:
    friend class DlgBHStg;

    // Stores the text for lastError().
    template <typename T>
    T logError(T value, const char* format, ...) const {
        va_list arguments;
        va_start(arguments, format);
        lastErrorText = str::printToBuffer(format, arguments);
        va_end(arguments);
        log(lastErrorText);
        return value;
    }

    // Why the data can't be corrected, with the code in `code`; null when it can.
    const char* refusal(const zt::IData& data, int& code) const;
    int walkPixels(std::span<double> pixels, double acqTime);
    int walkColumns(std::span<double> pixels, std::size_t width, double acqTime);
    // Rebuilds `tables` from the masks for a walk.
    void takeTables(Buffer<double> ThicknessMask::*table);
    void forgetOrder();
    // Returns 0 when each mask's table has that many values, else ERR_INVALID_INPUT after a line in the log.
    int checkTables(Buffer<double> ThicknessMask::*table, std::size_t values) const;

    // Adds the device's frame, or its sub-frame of that index, to the sum.
    int addAcquired(zt::IMpxFrame& frame, int subFrame, zt::IMpxFrame& sum) const;
    int loadBadPixelMatrix(const char* path);
    void makeWorkMask();
    void markBadPixels(std::span<const double> pixels);

    std::unique_ptr<ThicknessMask> storedMask(zt::ISettings& settings, int index) const;
    bool readTable(zt::ISettings& settings, int index, const char* key, Buffer<double>& table,
                   std::size_t size) const;

    mutable std::string lastErrorText;
    Masks maskList;
    Buffer<unsigned char> badPixels;         // one byte a pixel; a bad pixel's is not 0
    Buffer<unsigned char> workMask;          // state of the interpolation between frames
    PixelBits marks;                         // the bad pixels of the present frame
    KeptFills fills;                         // of `marks`, until these or the working mask change
    DlgBHStg* configDialog = nullptr;        // never deleted here
    std::function<void()> leaveConfigDialog; // notifies the window, which may outlive the filter
    zt::u64 frameSize = 0;                   // pixels of each mask
    bool useZeroAsBad = false;
    bool interpolateOn = true;
    bool settingsLoaded = false; // from a store with at least one mask
    bool tdiOn = false;
    ThicknessTables tables;    // the masks' tables for the present walk
    ThicknessOrder pixelOrder; // of the masks' values, until they change
    ThicknessOrder columnOrder;
};

} // namespace PluginOmbrel
