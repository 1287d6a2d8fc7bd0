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

// The values that a grey scale shows as black and white.
struct ScaleLimits {
    double low = 0;
    double high = 1;
};

// The 0.5 and 99.5 % quantiles of the finite pixels, so that single hot or dead pixels do not rule the scale.
// Always low < high.
ScaleLimits robustLimits(std::span<const double> pixels);

// The frame in grey, one image pixel a frame pixel; what is not finite is shown in magenta.
QImage greyImage(std::span<const double> pixels, zt::u32 width, const ScaleLimits& limits);

// Two pictures side by side with a gap, small ones enlarged by a whole factor.
QImage sideBySide(const QImage& left, const QImage& right);

// Replaces the file by the picture, in one step. Throws Error.
void writePng(const QImage& picture, const std::string& path);

// Writes a grey picture of the first frame of each file, side by side from left to right, each with robust
// limits of its own; of a part of the frames when a region is given. Throws Error.
void writeFramePicture(const std::string& picturePath, const std::vector<std::string>& files,
                       const std::optional<Region>& region);

// A folder of pictures, one a frame: raw beside corrected, each with robust limits of its own.
class PreviewFolder {
public:
    static bool isPreviewName(const std::string& name);
    // Throws Error when there is a picture of one of these frames already.
    static void checkFree(const std::string& folder, const FrameRange& range);

    // Makes the folder when it is not there. Throws Error.
    explicit PreviewFolder(const std::string& folderPath);

    // Writes "frame-000012.png". Throws Error.
    void write(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected,
               zt::u32 width) const;

private:
    std::filesystem::path folder;
};

} // namespace ombrel
