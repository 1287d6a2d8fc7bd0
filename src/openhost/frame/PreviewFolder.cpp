#include "frame/PreviewFolder.h"

#include "base/Error.h"
#include "base/NumberText.h"
#include "frame/PreviewImage.h"

#include <cstdio>
#include <optional>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view prefix = "frame-";
constexpr std::string_view suffix = ".png";

std::string nameOf(zt::u64 frame) {
    char name[40];
    std::snprintf(name, sizeof name, "frame-%06llu.png", static_cast<unsigned long long>(frame));
    return name;
}

// The frame of a preview of that name.
std::optional<zt::u64> frameOf(const std::string& name) {
    if (!name.starts_with(prefix) || !name.ends_with(suffix))
        return std::nullopt;
    const auto number = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    const auto frame = readNumber<zt::u64>(number);
    return frame && nameOf(*frame) == name ? frame : std::nullopt;
}

} // namespace

bool PreviewFolder::isPreviewName(const std::string& name) {
    return frameOf(name).has_value();
}

void PreviewFolder::checkFree(const std::string& folder, const FrameRange& range) {
    std::error_code missing;
    for (const auto& file : std::filesystem::directory_iterator(folder, missing))
        if (const auto frame = frameOf(file.path().filename().string());
            frame && *frame >= range.begin && *frame < range.end)
            throw Error(file.path().string() + ": exists; give --force to replace previews");
}

PreviewFolder::PreviewFolder(const std::string& folderPath) : folder(folderPath) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure)
        throw Error(folderPath + ": can't make the folder for previews: " + failure.message());
}

void PreviewFolder::write(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected,
                          zt::u32 width) const {
    const QImage picture = besideEachOther(greyImage(raw, width, robustLimits(raw)),
                                           greyImage(corrected, width, robustLimits(corrected)));
    writePng(picture, (folder / nameOf(frame)).string());
}

} // namespace ombrel
