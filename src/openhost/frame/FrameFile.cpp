#include "frame/FrameFile.h"

#include "zt/Types.h"

namespace ombrel {

double FrameFile::acqTime(zt::u32) const {
    return fileInfo.acqTime.value_or(0);
}

std::string FrameFile::where(zt::u32 frame) const {
    return fileInfo.path + ", frame " + std::to_string(frame);
}

FramePtr FrameFile::readFrame(zt::u32 frame) {
    const auto readOne = [&](zt::u32 subFrame) {
        FramePtr image = Frame::createUnfilled(fileInfo.width, fileInfo.height, fileInfo.pixelType);
        readImage(frame, subFrame, image->bytes());
        image->setName(where(frame));
        image->setAcqTime(acqTime(frame));
        return image;
    };
    if (fileInfo.subFrames == 0)
        return readOne(0);
    FramePtr sum = Frame::create(fileInfo.width, fileInfo.height, zt::DT_DOUBLE);
    sum->setName(where(frame));
    sum->setAcqTime(acqTime(frame));
    for (zt::u32 subFrame = 0; subFrame < fileInfo.subFrames; ++subFrame) {
        FramePtr image = readOne(subFrame);
        sum->addFrame(image.get());
        sum->addSubFrame(std::move(image));
    }
    return sum;
}

} // namespace ombrel
