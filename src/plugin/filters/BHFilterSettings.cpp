// The beam-hardening filter in a settings store: its switches and its masks, unmodified.
#include "filters/BHFilter.h"
#include "support/Str.h"

#include <algorithm>

namespace PluginOmbrel {

namespace {

constexpr const char* switches = "Settings";
// A larger count means a broken store; reading so many masks would take far too long.
constexpr int mostMasks = 10000;

std::string groupOf(int index) {
    return str::format("Mask%d", index);
}

void storeMask(zt::ISettings& settings, const char* group, const ThicknessMask& mask) {
    settings.setString(group, "Name", mask.name.c_str());
    settings.setDouble(group, "AcqTime", mask.acqTime);
    settings.setDouble(group, "Thickness", mask.thickness);
    settings.setBool(group, "Logarithmed", mask.logarithmed);
    settings.setInt(group, "Size", static_cast<int>(mask.data.size()));
    settings.setInt(group, "Width", static_cast<int>(mask.width));
    settings.setInt(group, "Height", static_cast<int>(mask.height));
    settings.setBlob(group, "Data", mask.data.data(), mask.data.span().size_bytes());
    settings.setBlob(group, "TDIData", mask.tdiData.data(), mask.tdiData.span().size_bytes());
}

} // namespace

int BHFilter::saveToSettings(zt::ISettings* settings) {
    // Masks that were loaded and removed since are also removed from the store.
    if (maskList.empty() && !settingsLoaded)
        return 0;
    settings->setInt(switches, "MaskCount", static_cast<int>(maskList.size()));
    settings->setBool(switches, "InterpolateBadPixels", interpolateOn);
    settings->setBool(switches, "UseZeroAsBadPixels", useZeroAsBad);
    for (std::size_t i = 0; i < maskList.size(); ++i)
        storeMask(*settings, groupOf(static_cast<int>(i)).c_str(), *maskList[i]);
    return 0;
}

int BHFilter::loadFromSettings(zt::ISettings* settings) {
    settingsFilePath = settings->getFilePath();
    removeAllMasks();
    const int count = settings->getInt(switches, "MaskCount", static_cast<int>(maskList.size()));
    if (count != 0)
        settingsLoaded = true;
    interpolateOn = settings->getBool(switches, "InterpolateBadPixels", interpolateOn);
    useZeroAsBad = settings->getBool(switches, "UseZeroAsBadPixels", useZeroAsBad);
    if (count < 0 || count > mostMasks)
        logError(0, "Settings cannot hold %d masks. At most %d are loaded", count, mostMasks);
    for (int index = 0; index < std::min(count, mostMasks); ++index)
        if (auto mask = storedMask(*settings, index))
            maskList.push_back(std::move(mask));
    if (!maskList.empty())
        frameSize = maskList.front()->data.size();
    return 0;
}

std::unique_ptr<ThicknessMask> BHFilter::storedMask(zt::ISettings& settings, int index) const {
    const std::string name = groupOf(index);
    const char* const group = name.c_str();
    const int size = settings.getInt(group, "Size", 0);
    if (size == 0)
        return nullptr;
    const int width = settings.getInt(group, "Width", 0);
    const int height = settings.getInt(group, "Height", 0);
    if (size < 0 || width < 0 || height < 0) {
        logError(0, "Cannot load mask %d from settings. Invalid size (%d, %d x %d)", index, size, width,
                 height);
        return nullptr;
    }
    auto mask = std::make_unique<ThicknessMask>(settings.getString(group, "Name", ""), width, height,
                                                settings.getDouble(group, "AcqTime", 1.0),
                                                settings.getDouble(group, "Thickness", 1.0));
    mask->logarithmed = settings.getBool(group, "Logarithmed", false);
    if (!readTable(settings, index, "Data", mask->data, static_cast<std::size_t>(size)) ||
        !readTable(settings, index, "TDIData", mask->tdiData, static_cast<std::size_t>(width)))
        return nullptr;
    return mask;
}

bool BHFilter::readTable(zt::ISettings& settings, int index, const char* key, Buffer<double>& table,
                         std::size_t size) const {
    // Sizes above the device's are not trusted: grow the table only as far as the store really has data.
    std::size_t room = std::min<std::size_t>(size, std::max<std::size_t>(dev->pixelCount(), 1));
    while (room != 0) {
        table.resize(room);
        std::ranges::fill(table.span(), 0.0); // in case the host writes nothing for a missing key
        zt::u64 bytes = table.span().size_bytes();
        settings.getBlob(groupOf(index).c_str(), key, table.data(), &bytes);
        if (bytes < table.span().size_bytes())
            return logError(0, "Cannot load mask %d from settings. %s does not hold %llu values", index, key,
                            static_cast<unsigned long long>(size)) != 0;
        if (room == size)
            return true;
        room = std::min(size, 2 * room);
    }
    return true;
}

} // namespace PluginOmbrel
