#include "standalone/cli/PreviewFolder.h"

#include "standalone/Error.h"
#include "standalone/PreviewImage.h"

#include <cstdio>

namespace ombrel::cli {

PreviewFolder::PreviewFolder(const std::string& folderPath) : folder(folderPath) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure)
        throw Error(folderPath + ": can't make the folder for previews: " + failure.message());
}

void PreviewFolder::write(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected,
                          zt::u32 width) const {
    char name[40];
    std::snprintf(name, sizeof name, "frame-%06llu.png", static_cast<unsigned long long>(frame));
    const QImage picture = besideEachOther(greyImage(raw, width, robustLimits(raw)),
                                           greyImage(corrected, width, robustLimits(corrected)));
    writePng(picture, (folder / name).string());
}

} // namespace ombrel::cli
