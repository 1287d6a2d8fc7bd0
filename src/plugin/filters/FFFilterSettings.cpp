// The flat-field filter in a settings store: its switches and its finished coefficients.
#include "filters/FFFilter.h"

#include <algorithm>

namespace PluginOmbrel {

namespace {

constexpr const char* group = "FF";
constexpr const char* coeffsKey = "Coeffs";
constexpr const char* tdiCoeffsKey = "TDICoeffs";

void storeTable(zt::ISettings& settings, const char* key, const Buffer<double>& table) {
    settings.setBlob(group, key, table.data(), table.span().size_bytes());
}

} // namespace

int FFFilter::saveToSettings(zt::ISettings* settings) {
    if (coeffs.empty())
        return 0;
    settings->setBool(group, "Interpolate", interpolateBadPixelsOn);
    settings->setBool(group, "UseDevMask", useDevMask);
    settings->setBool(group, "UseZeroPixels", useZeroPixels);
    settings->setBool(group, "UseFFCoeffs", useFFCoeffs);
    settings->setBool(group, "UseTDI", useTdi);
    settings->setDouble(group, "BadFFOverCoeff", badFFOverCoeff);
    settings->setDouble(group, "BadFFUnderCoeff", badFFUnderCoeff);
    settings->setInt(group, "CoeffsSize", static_cast<int>(coeffs.size()));
    settings->setInt(group, "TDICoeffsSize", static_cast<int>(tdiCoeffs.size()));
    storeTable(*settings, coeffsKey, coeffs.values());
    storeTable(*settings, tdiCoeffsKey, tdiCoeffs);
    return 0;
}

int FFFilter::loadFromSettings(zt::ISettings* settings) {
    settingsFilePath = settings->getFilePath();
    interpolateBadPixelsOn = settings->getBool(group, "Interpolate", interpolateBadPixelsOn);
    useDevMask = settings->getBool(group, "UseDevMask", useDevMask);
    useZeroPixels = settings->getBool(group, "UseZeroPixels", useZeroPixels);
    useFFCoeffs = settings->getBool(group, "UseFFCoeffs", useFFCoeffs);
    useTdi = settings->getBool(group, "UseTDI", useTdi);
    badFFOverCoeff = settings->getDouble(group, "BadFFOverCoeff", badFFOverCoeff);
    badFFUnderCoeff = settings->getDouble(group, "BadFFUnderCoeff", badFFUnderCoeff);
    // Without its own size the table of the columns is assumed to be as large as that of the pixels.
    const int sizeNow = static_cast<int>(coeffs.size());
    const int coeffsSize = settings->getInt(group, "CoeffsSize", sizeNow);
    const int tdiCoeffsSize = settings->getInt(group, "TDICoeffsSize", sizeNow);

    // Replace both tables or neither.
    Buffer<double> newCoeffs;
    Buffer<double> newTdiCoeffs;
    if (!readTable(*settings, coeffsKey, coeffsSize, coeffs.values(), newCoeffs) ||
        !readTable(*settings, tdiCoeffsKey, tdiCoeffsSize, tdiCoeffs, newTdiCoeffs))
        return 0;
    if (coeffsSize != 0)
        coeffs.swap(newCoeffs);
    if (tdiCoeffsSize != 0)
        tdiCoeffs.swap(newTdiCoeffs);
    return 0;
}

bool FFFilter::readTable(zt::ISettings& settings, const char* key, int size, const Buffer<double>& present,
                         Buffer<double>& table) const {
    if (size == 0)
        return true;
    const auto wanted = static_cast<std::size_t>(size);
    // Sizes above this are not trusted: grow the table only as far as the store really has data.
    const std::size_t expected = std::max<std::size_t>(dev->pixelCount(), coeffs.size());
    std::size_t room = size < 0 ? 0 : std::min(wanted, expected);
    while (room != 0) {
        table.resize(room);
        // If the key is missing, the host writes nothing: the values keep their contents or become 1.
        if (room == present.size())
            std::ranges::copy(present.span(), table.data());
        else
            std::ranges::fill(table.span(), 1.0);
        zt::u64 bytes = table.span().size_bytes();
        settings.getBlob(group, key, table.data(), &bytes);
        if (bytes == 0 && wanted <= expected) {
            // A size that is missing in the store is that of the present coefficients: no message then.
            if (wanted != present.size() && wanted != coeffs.size())
                logError(0, "Flat-field settings hold no %s. Each coefficient is 1", key);
            return true;
        }
        if (bytes < table.span().size_bytes())
            break;
        if (room == wanted)
            return true;
        room = std::min(wanted, 2 * room);
    }
    logError(0, "Cannot load flat-field coefficients from settings. %s does not hold %d values", key, size);
    return false;
}

} // namespace PluginOmbrel
