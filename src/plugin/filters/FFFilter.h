#pragma once

#include "filters/DeviceFilter.h"
#include "kernels/Buffer.h"
#include "kernels/CoefficientTable.h"
#include "kernels/FlatField.h"
#include "kernels/KeptFills.h"
#include "kernels/PixelBits.h"
#include "zt/DataBuff.h"
#include "zt/IMpxFrame.h"
#include "zt/IPrivateFilters.h"

#include <string>
#include <vector>

namespace PluginOmbrel {

// The classic flat-field correction: each pixel is multiplied by its own coefficient, or by that of its
// column, and bad pixels are interpolated from their neighbours. The result is a frame of doubles; nothing is
// subtracted or clamped.
//
// It needs coefficients, from one of its loading operations or from settings, and refuses frames until then.
// The mask of bad pixels persists between frames, so one instance corrects one frame at a time.
class FFFilter : public DeviceFilter, public IFFFilter {
public:
    FFFilter(zt::IZenteo* zenteo, zt::IDevMpx* device);

    void filterNameStr(zt::IString* out) const override { out->set("Flat-Field"); }
    void filterDescriptionStr(zt::IString* out) const override { out->set("Flat-field correction of frame"); }
    zt::IDataFilter* createNewInstance() const override { return new FFFilter(host, dev); }
    zt::IData* filter(const zt::IData* data) override;
    int filterReplace(zt::IData* data) override;
    bool hasConfigGUI() const override { return true; }
    // Implemented with the dialogs. Finally saves to the settings file.
    void showConfigGUI() override;
    int saveToSettings(zt::ISettings* settings) override;
    int loadFromSettings(zt::ISettings* settings) override;
    void* privateInterface() override { return static_cast<IFFFilter*>(this); }

    int loadCoefficientsFromFile(const char* path, bool asciiFormat) override;
    // The mean of all frames of all files. A file that fails is logged and skipped. Returns the code of the
    // last file, except that a good frame file keeps the previous code, or -1 when no file was good. The
    // first file decides for all whether they are finished coefficients.
    virtual int loadCoefficientsFromFile(std::vector<std::string> files, bool asciiFormat);
    int saveCoefficientsToFile(const char* path, bool asciiFormat) override;
    int loadCoefficientsFromAcquisition(bool allFrames) override;

    bool interpolateBadAndMaskedPixels() const override { return interpolateBadPixelsOn; }
    bool useDeviceMaskForBadPixels() const override { return useDevMask; }
    bool useZeroPixelsForBadPixels() const override { return useZeroPixels; }
    bool useFFCoeffsForBadPixels() const override { return useFFCoeffs; }
    // Time-delayed integration: all pixels of a detector column share one coefficient.
    virtual bool isUsingTDI() const { return useTdi; }
    void setInterpolateBadMaskedPixels(bool on) override { interpolateBadPixelsOn = on; }
    void setUseDeviceMaskForBadPixels(bool on) override { useDevMask = on; }
    void setUseZeroPixelsForBadPixels(bool on) override;
    void setUseFFCoeffsForBadPixels(bool on) override;
    virtual void useTDI(bool on) { useTdi = on; }
    int loadBadPixelMaskFromFile(const char* path, bool flag) override;
    zt::u32 getObjectID() const override { return 1442418610; }
    const char* getObjectName() const override { return "FlatFieldFilterInterface"; }

    // Computes coefficients from the flat field in the table, for pixels and for columns. Returns 0, or
    // ERR_INVALID_INPUT when the table is smaller than the device; all coefficients are 1 then.
    int prepareCoefficients();
    using DeviceFilter::saveToSettingsFile;

    // Both rebuild the mask of bad pixels.
    void generateBadPixelMaskFromZeroPixels(const zt::IMpxFrame* frame);
    void generateBadPixelMaskFromFFCoeffs();
    // Fills the bad pixels of a frame of doubles, as marked by the mask and the device's mask together.
    // Returns 0, ERR_INVALID_INPUT, or ERR_CANNOT_CORRECT when more than half of the pixels are bad.
    int interpolateBadPixels(zt::IMpxFrame* frame);

    // The source of the coefficients and of the mask as shown to users: a path or a text in angle brackets.
    std::string coeffsSourceName;
    std::string badPixelMaskName = "<Zero pixels>";

private:
    void initParams();

    // Why the data can't be corrected; null when it can.
    const char* refusal(const zt::IData& data) const;
    void rebuildMask(const zt::IMpxFrame& measured);
    void correct(zt::IMpxFrame& frame);

    void setAllCoefficientsToOne();
    void takeCoefficients(const FrameSum& sum);
    // Each adds a file's frames to the sum. The code becomes 0 or the failure; a good frame file does not
    // change it.
    void addFile(const std::string& path, FrameSum& sum, int& code);
    void addFrameFile(const std::string& path, FrameSum& sum, int& code);
    int addPreparedFile(const std::string& path, FrameSum& sum);
    int addAsciiFile(const std::string& path, FrameSum& sum);
    // Logs a frame that can't be added.
    int addFrame(zt::IMpxFrame& frame, FrameSum& sum);

    std::vector<zt::IMpxFrame*> acquiredFrames(bool allFrames, int subFrame);

    // If the key is missing, a table of the present size is a copy of `present`, and one of another size is
    // all ones. Returns false, after a line in the log, when the store has fewer values than `size`.
    bool readTable(zt::ISettings& settings, const char* key, int size, const Buffer<double>& present,
                   Buffer<double>& table) const;

    CoefficientTable coeffs;  // one a pixel, row by row
    Buffer<double> tdiCoeffs; // one a detector column
    PixelBits badPixels;
    KeptFills fills; // of `badPixels`, until they change
    bool interpolateBadPixelsOn = true;
    bool useDevMask = true;
    bool useZeroPixels = true;
    bool useFFCoeffs = false;
    bool useTdi = false;
    double badFFOverCoeff = 5.0;            // coefficients above it are bad
    double badFFUnderCoeff = 0.2;           // coefficients below it are bad
    zt::DataBuff<unsigned char> deviceMask; // kept to reuse its memory
};

} // namespace PluginOmbrel
