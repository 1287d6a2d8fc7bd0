#include "run/TouchedPixels.h"

#include "frame/PixelFaults.h"
#include "host/Session.h"
#include "settings/Settings.h"
#include "zt/IPrivateFilters.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

namespace ombrel {

namespace {

using Faults = std::vector<zt::u32>;

std::unique_ptr<Settings> storedSettings(Host& host, FilterLink& link) {
    auto store = host.openSettings("");
    link.filter().saveToSettings(store.get());
    return store;
}

// A filter fills nothing if more than half of the pixels are bad.
void fill(Faults& touched, const Faults& bad) {
    if (countFaulty(bad) * 2 > bad.size())
        return;
    for (std::size_t i = 0; i < touched.size(); ++i)
        if (bad[i] != 0)
            touched[i] |= bad[i] | fault::filled;
}

// A pixel whose flat field is 0 has the coefficient 0.
zt::u32 faultOf(double coefficient, double most, double least) {
    if (coefficient > most)
        return fault::under;
    if (coefficient < least)
        return coefficient == 0 ? fault::dead : fault::over;
    return 0;
}

void addFlatField(Host& host, FilterLink& link, const Faults& device, Faults& touched) {
    const auto& filter = filterInterface<IFFFilter>(link.filter(), flatFieldObject);
    const bool usesCoefficients = filter.useFFCoeffsForBadPixels();
    // Without a source of its own the filter has no list to which it could add those of the device.
    if (!filter.interpolateBadAndMaskedPixels() || (!usesCoefficients && !filter.useZeroPixelsForBadPixels()))
        return;
    Faults bad(touched.size());
    if (usesCoefficients) {
        const auto store = storedSettings(host, link);
        const std::vector<double> coefficients = doublesOf(store->contents(), "FF", "Coeffs");
        const double most = store->getDouble("FF", "BadFFOverCoeff", 5);
        const double least = store->getDouble("FF", "BadFFUnderCoeff", 0.2);
        if (coefficients.size() != bad.size())
            return;
        for (std::size_t i = 0; i < bad.size(); ++i)
            bad[i] = faultOf(coefficients[i], most, least);
    }
    if (filter.useDeviceMaskForBadPixels())
        for (std::size_t i = 0; i < bad.size(); ++i)
            bad[i] |= device[i];
    fill(touched, bad);
}

// The rates of a mask, whose logarithms the filter compares.
std::vector<double> ratesOf(Settings& settings, const std::string& group) {
    std::vector<double> rates = doublesOf(settings.contents(), group, "Data");
    const double seconds = settings.getDouble(group.c_str(), "AcqTime", 1);
    if (!settings.getBool(group.c_str(), "Logarithmed", false))
        for (double& rate : rates)
            rate = std::log(rate / seconds);
    return rates;
}

void addBeamHardening(Host& host, FilterLink& link, Faults& touched) {
    const auto store = storedSettings(host, link);
    if (!store->getBool("Settings", "InterpolateBadPixels", false))
        return;
    Faults bad(touched.size());
    std::vector<double> before;
    for (int mask = 0; mask < store->getInt("Settings", "MaskCount", 0); ++mask) {
        const std::vector<double> rates = ratesOf(*store, "Mask" + std::to_string(mask));
        if (rates.size() != bad.size())
            return;
        for (std::size_t i = 0; mask > 0 && i < bad.size(); ++i)
            if (rates[i] >= before[i])
                bad[i] = fault::thickness;
        before = rates;
    }
    fill(touched, bad);
}

// Each pixel of a block of 2 x 2 becomes their mean.
void addBinning(zt::u32 width, Faults& touched) {
    const std::size_t rows = touched.size() / width;
    for (std::size_t y = 0; y < rows; y += 2)
        for (std::size_t x = 0; x < width; x += 2) {
            zt::u32 all = 0;
            const auto forBlock = [&](auto work) {
                for (std::size_t v = y; v < std::min(y + 2, rows); ++v)
                    for (std::size_t u = x; u < std::min<std::size_t>(x + 2, width); ++u)
                        work(touched[v * width + u]);
            };
            forBlock([&](zt::u32 faults) { all |= faults; });
            forBlock([&](zt::u32& faults) { faults = all; });
        }
}

} // namespace

std::vector<zt::u32> touchedPixels(Host& host, const Device& device, std::span<FilterLink* const> links,
                                   const std::optional<PixelMask>& mask) {
    const Faults masked = mask ? mask->faults : Faults(device.pixelCount());
    Faults touched = masked;
    for (FilterLink* const link : links)
        if (link->name() == "Flat-Field")
            addFlatField(host, *link, masked, touched);
        else if (link->name() == "Beam-hardening")
            addBeamHardening(host, *link, touched);
        else if (link->name() == "Binning 2x2")
            addBinning(device.width(), touched);
    return touched;
}

} // namespace ombrel
