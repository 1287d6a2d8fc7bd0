#include "standalone/cli/DeviceMask.h"

#include "standalone/Error.h"
#include "standalone/FrameFile.h"
#include "standalone/SizeText.h"

#include <utility>

#include "zt/DataType.h"

namespace ombrel::cli {

FramePtr readMaskFrame(const std::string& path, zt::u32 width, zt::u32 height) {
    FramePtr mask = FrameFile::open(path)->readFrame(0);
    if (mask->width() != width || mask->height() != height)
        throw Error(path + ": the mask has " + sizeText(mask->width(), mask->height()) +
                    " pixels, the frames have " + sizeText(width, height));
    return mask;
}

std::vector<zt::u8> readDeviceMask(const std::string& path, zt::u32 width, zt::u32 height) {
    const FramePtr mask = readMaskFrame(path, width, height);
    mask->convertToType(zt::DT_DOUBLE);
    std::vector<zt::u8> bytes;
    for (const double pixel : std::as_const(*mask).pixels<double>())
        bytes.push_back(pixel != 0);
    return bytes;
}

} // namespace ombrel::cli
