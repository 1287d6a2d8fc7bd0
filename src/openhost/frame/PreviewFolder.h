#pragma once

#include "frame/FrameRange.h"
#include "zt/Types.h"

#include <filesystem>
#include <span>
#include <string>

namespace ombrel {

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
