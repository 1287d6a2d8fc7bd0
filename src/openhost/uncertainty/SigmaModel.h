#pragma once

#include "frame/Frame.h"
#include "frame/FrameRow.h"
#include "uncertainty/ChainErrors.h"
#include "uncertainty/PixelErrors.h"
#include "zt/IParam.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// Throws UsageError unless errors can be followed through a chain of these filters.
void checkSigmaChain(std::span<const std::string> filters);

// A link of the chain.
struct SigmaLink {
    std::string filter;
    std::string settings;            // for messages
    std::string contents;            // the file that is read; empty without settings
    std::vector<zt::u8> filled;      // not 0: the filter fills this pixel in every frame
    zt::IParamMgr* params = nullptr; // of the loaded filter; null if it has none
};

struct SigmaPlan {
    std::vector<SigmaLink> links;
    std::optional<double> gain;      // counts a photon; unset: as calibrated, else 1
    std::vector<zt::u8> deviceMask;  // 0: no pixel; empty for none
    bool keepNan = false;            // pixels that the detector marked become NaN
    const DarkField* dark = nullptr; // that was subtracted; null for none
};

// The standard deviations of a corrected frame, row by row.
struct FrameSigma {
    std::vector<float> total;
    std::vector<float> calibration; // the part that all frames of one calibration share
};

// Whether Flat-Field finds the zero pixels of frames of that type, if it is to fill them.
bool findsZeroPixels(zt::u8 pixelType);

// What the errors of a frame depend on: what the first filter gets.
struct FrameCounts {
    // `marked` pixels of the frame were filled.
    static FrameCounts of(const Frame& frame, std::vector<zt::u32> marked);

    std::vector<double> counts;
    zt::u32 width = 0;
    double seconds = 0;          // 0: unknown
    bool zerosAreFound = false;  // Flat-Field finds zero pixels in frames of this pixel type
    std::vector<zt::u32> marked; // by the detector; they are filled
};

// How certain the pixels of corrected frames are. See docs/uncertainty.md. For several threads.
class SigmaModel {
public:
    // Reads the settings of the chain. Throws UsageError for a chain that is not supported, and Error for
    // settings that do not say what they were calibrated from.
    explicit SigmaModel(const SigmaPlan& plan);

    // `choice` of AdaptiveFF for this frame; a frame without it has NaN. Throws Error.
    FrameSigma of(const FrameCounts& frame, const std::optional<SelectedFlatField>& choice) const;

    // Where a gain that was not given is from, for a message.
    const std::string& gainText() const { return gainNote; }

private:
    std::vector<zt::u8> deviceMask;
    bool keepNan;
    CountNoise noise;
    std::string gainNote;
    std::vector<std::unique_ptr<LinkErrors>> links; // one for each filter
};

} // namespace ombrel
