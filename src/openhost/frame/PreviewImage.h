#pragma once

#include "frame/FrameRange.h"
#include "frame/Statistics.h"
#include "zt/Types.h"

#include <QImage>

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The values shown as black and as white.
struct ScaleLimits {
    double low = 0;
    double high = 1;
};

// The 0.5 and 99.5 % quantiles of the finite pixels, so that single hot or dead pixels do not determine the
// scale. Always low < high.
ScaleLimits robustLimits(std::span<const double> pixels);

// The frame in grey, one image pixel per frame pixel; values that are not finite are shown in magenta.
QImage greyImage(std::span<const double> pixels, zt::u32 width, const ScaleLimits& limits);

// Two pictures side by side with a gap; small ones are enlarged by an integer factor.
QImage sideBySide(const QImage& left, const QImage& right);

// Atomically replaces the file by the picture. Throws Error.
void writePng(const QImage& picture, const std::string& path);

// Writes a grey picture of the first frame of each file, side by side, each with its own robust limits. If a
// region is given, only that part of the frames is shown. Throws Error.
void writeFramePicture(const std::string& picturePath, const std::vector<std::string>& files,
                       const std::optional<Region>& region);

// A folder of pictures, one per frame: raw next to corrected, each with its own robust limits.
class PreviewFolder {
public:
    static bool isPreviewName(const std::string& name);
    // Throws Error if the folder already holds a picture of one of these frames.
    static void checkFree(const std::string& folder, const FrameRange& range);

    // Creates the folder if it does not exist. Throws Error.
    explicit PreviewFolder(const std::string& folderPath);

    // Writes "frame-000012.png". Throws Error.
    void write(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected,
               zt::u32 width) const;

private:
    std::filesystem::path folder;
};

} // namespace ombrel
