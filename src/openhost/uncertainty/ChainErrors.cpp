#include "uncertainty/ChainErrors.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "settings/CalibrationFacts.h"
#include "settings/Settings.h"
#include "settings/SettingsFiles.h"
#include "uncertainty/GridFlatField.h"
#include "uncertainty/PixelErrors.h"
#include "uncertainty/SigmaModel.h"
#include "uncertainty/ThicknessErrors.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace ombrel {

namespace {

// The settings file of a link, and what its calibration stored.
struct LinkSettings {
    explicit LinkSettings(const SigmaLink& sigmaLink)
        : link(sigmaLink), store(link.contents, [](const std::string&) {}) {
        if (link.filter == "Binning 2x2")
            return;
        if (link.contents.empty())
            throw UsageError("--sigma: " + link.filter + " needs its settings: -f " + link.filter +
                             "=SETTINGS.xml");
        store.loadFile();
        facts = validFactsOf(store.contents(), link.settings);
    }

    bool isTdi() { return store.getBool("FF", "UseTDI", false); }
    std::vector<double> coefficients() {
        return doublesOf(store.contents(), "FF", isTdi() ? "TDICoeffs" : "Coeffs");
    }
    [[noreturn]] void refuse(const std::string& unknown) const {
        throw Error(link.settings + ": does not say " + unknown +
                    ", which --sigma needs; calibrate again with this version of ombrel");
    }

    const SigmaLink& link;
    Settings store;
    CalibrationFacts facts;
};

class FlatFieldLink final : public LinkErrors {
public:
    FlatFieldLink(LinkSettings& settings, bool isInMasks) : filled(settings.link.filled), cancels(isInMasks) {
        if (!settings.facts.level || !settings.facts.flatFields)
            settings.refuse("how many flat fields it is of, and their level");
        flat.coefficients = settings.coefficients();
        flat.level = *settings.facts.level;
        flat.frames = *settings.facts.flatFields;
        Settings& store = settings.store;
        if (settings.isTdi()) // a column is a mean of its pixels
            flat.frames *=
                store.getInt("FF", "CoeffsSize", 0) / static_cast<double>(flat.coefficients.size());
        fillsZeros = store.getBool("FF", "Interpolate", true) && store.getBool("FF", "UseZeroPixels", true);
    }

    void apply(PixelErrors& errors, const FrameCounts& frame, const CountNoise& noise,
               const std::optional<SelectedFlatField>&) const override {
        multiplyErrors(errors, flat, noise);
        if (cancels)
            for (double& variance : errors.calibration)
                variance *= 0; // NaN stays
        std::vector<zt::u8> bad = filled;
        if (fillsZeros && frame.zerosAreFound)
            for (std::size_t i = 0; i < bad.size(); ++i)
                bad[i] |= frame.counts[i] == 0 ? 1 : 0;
        fillErrors(errors, bad);
    }

private:
    FlatFieldFacts flat;
    std::vector<zt::u8> filled;
    bool fillsZeros = false;
    bool cancels; // the masks of the next filter have the same error
};

class GridLink final : public LinkErrors {
public:
    explicit GridLink(const LinkSettings& settings) : fields(fieldsOf(settings)) {}

    void apply(PixelErrors& errors, const FrameCounts&, const CountNoise& noise,
               const std::optional<SelectedFlatField>& choice) const override {
        if (const auto flat = choice ? fields.at(choice->best) : std::nullopt)
            return multiplyErrors(errors, *flat, noise);
        std::ranges::fill(errors.photon, notANumber);
        std::ranges::fill(errors.calibration, notANumber);
    }

private:
    static GridFlatFields fieldsOf(const LinkSettings& settings) {
        zt::IParamMgr& params = *settings.link.params;
        if (params.param("PPEanbled")->getBool())
            throw UsageError("--sigma: not with PPEnabled of AdaptiveFF, which clips pixels; calibrate with "
                             "--set PPEnabled=false");
        if (constexpr int mosaic = 2; params.param("Search")->getInt() == mosaic)
            throw UsageError("--sigma: not with the mosaic search of AdaptiveFF, which takes each tile from "
                             "a flat field of its own; calibrate with --set Search=0");
        if (settings.facts.points.empty())
            settings.refuse("how many flat fields its grid points are of");
        return {heapPathOf(settings.link.settings), settings.facts.points,
                params.param("Interpolation")->getInt() == 1};
    }

    GridFlatFields fields;
};

class BinningLink final : public LinkErrors {
    void apply(PixelErrors& errors, const FrameCounts&, const CountNoise&,
               const std::optional<SelectedFlatField>&) const override {
        binErrors(errors);
    }
};

class ThicknessLink final : public LinkErrors {
public:
    // `coefficients` by which the masks were multiplied; empty if they were not.
    ThicknessLink(LinkSettings& settings, std::vector<double> coefficients) : filled(settings.link.filled) {
        Settings& store = settings.store;
        const auto& frames = settings.facts.maskFrames;
        const int count = store.getInt("Settings", "MaskCount", 0);
        if (frames.size() != static_cast<std::size_t>(count))
            settings.refuse("how many frames its masks are of");
        if (count < 2)
            throw Error(settings.link.settings + ": has a single mask, which gives no thickness and no error "
                                                 "of it; give calibrate another --mask");
        for (std::size_t k = 0; k < frames.size(); ++k)
            facts.masks.push_back(maskOf(store, k, frames[k]));
        facts.coefficients = std::move(coefficients);
        interpolates = store.getBool("Settings", "InterpolateBadPixels", true);
        fillsZeros = store.getBool("Settings", "UseZeroAsBadPixels", false);
    }

    void apply(PixelErrors& errors, const FrameCounts& frame, const CountNoise& noise,
               const std::optional<SelectedFlatField>&) const override {
        const double seconds = frame.seconds == 0 ? 1 : frame.seconds; // as the filter takes it
        std::vector<zt::u8> bad = convertErrors(errors, seconds, facts, noise);
        if (!interpolates)
            return;
        for (std::size_t i = 0; i < bad.size(); ++i)
            bad[i] = (fillsZeros && bad[i] != 0) || filled[i] != 0 ? 1 : 0;
        fillErrors(errors, bad);
    }

private:
    static MaskFacts maskOf(Settings& store, std::size_t index, double frames) {
        const std::string group = "Mask" + std::to_string(index);
        const double seconds = store.getDouble(group.c_str(), "AcqTime", 1);
        std::vector<double> counts = doublesOf(store.contents(), group, "Data");
        if (store.getBool(group.c_str(), "Logarithmed", false))
            for (double& value : counts)
                value = value == 0 ? 0 : std::exp(value) * seconds;
        return MaskFacts::of(store.getDouble(group.c_str(), "Thickness", 1), frames, std::move(counts),
                             seconds);
    }

    ThicknessFacts facts;
    std::vector<zt::u8> filled;
    bool interpolates = true;
    bool fillsZeros = false; // pixels of thickness 0
};

// Whether the masks were corrected by the link in front of them. Throws Error if they were corrected
// otherwise.
bool areCorrectedMasks(const LinkSettings& masks, const LinkSettings* before) {
    const std::string& correction = masks.facts.maskCorrection;
    if (correction.empty())
        return false;
    if (!before || fileHash(before->link.contents) != correction)
        throw Error(masks.link.settings +
                    ": its masks were corrected by other settings than the frames are, so that --sigma "
                    "cannot follow their noise; correct frames and masks by the same Flat-Field");
    return true;
}

} // namespace

std::vector<std::unique_ptr<LinkErrors>> errorsOfChain(std::span<const SigmaLink> links,
                                                       std::optional<double>& gain) {
    std::vector<std::unique_ptr<LinkSettings>> settings;
    for (const SigmaLink& link : links) {
        settings.push_back(std::make_unique<LinkSettings>(link));
        if (!gain)
            gain = settings.back()->facts.gain;
    }
    const bool endsInThickness = links.back().filter == "Beam-hardening";
    const bool isInMasks =
        endsInThickness &&
        areCorrectedMasks(*settings.back(), links.size() > 1 ? settings.front().get() : nullptr);
    std::vector<std::unique_ptr<LinkErrors>> errors;
    for (const auto& link : settings)
        if (link->link.filter == "Flat-Field")
            errors.push_back(std::make_unique<FlatFieldLink>(*link, isInMasks));
        else if (link->link.filter == "AdaptiveFF")
            errors.push_back(std::make_unique<GridLink>(*link));
        else if (link->link.filter == "Binning 2x2")
            errors.push_back(std::make_unique<BinningLink>());
        else
            errors.push_back(std::make_unique<ThicknessLink>(
                *link, isInMasks ? settings.front()->coefficients() : std::vector<double>()));
    return errors;
}

} // namespace ombrel
