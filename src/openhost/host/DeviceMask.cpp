#include "host/DeviceMask.h"

#include "base/Error.h"
#include "base/SizeText.h"
#include "frame/FrameFile.h"
#include "zt/DataType.h"

#include <utility>

namespace ombrel {

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

} // namespace ombrel
