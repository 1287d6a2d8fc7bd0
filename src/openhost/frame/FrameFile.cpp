#include "frame/FrameFile.h"

#include "base/Error.h"
#include "frame/PixelDigest.h"
#include "frame/PixelType.h"
#include "zt/Types.h"

#include <algorithm>

namespace ombrel {

double FrameFile::acqTime(zt::u32) const {
    return fileInfo.acqTime.value_or(0);
}

std::string frameText(const std::string& path, zt::u32 frame) {
    return path + ", frame " + std::to_string(frame);
}

void FrameFile::readImage(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels, PixelDigest* digest) {
    const auto raw = rawImage(frame, subFrame);
    if (!raw) {
        const std::lock_guard lock(storedMutex);
        readStored(frame, subFrame, pixels);
    }
    // Without a digest, the fewest system calls.
    const std::size_t step = digest ? 8 * blockPixels * pixelSize(fileInfo.pixelType) : pixels.size();
    for (std::size_t done = 0; done < pixels.size(); done += step) {
        const auto block = pixels.subspan(done, std::min(step, pixels.size() - done));
        if (raw)
            if (const auto failure = raw->file.tryReadAt(raw->offset + done, block))
                throw Error(where(frame) + ": " + *failure);
        if (digest)
            digest->add(block);
    }
}

FramePtr FrameFile::readOne(zt::u32 frame, zt::u32 subFrame, PixelDigest* digest) {
    FramePtr image = Frame::createUnfilled(fileInfo.width, fileInfo.height, fileInfo.pixelType);
    readImage(frame, subFrame, image->bytes(), digest);
    image->setName(where(frame));
    image->setAcqTime(acqTime(frame));
    return image;
}

FramePtr FrameFile::sumOfSubFrames(zt::u32 frame) {
    FramePtr sum = Frame::create(fileInfo.width, fileInfo.height, zt::DT_DOUBLE);
    sum->setName(where(frame));
    sum->setAcqTime(acqTime(frame));
    for (zt::u32 subFrame = 0; subFrame < fileInfo.subFrames; ++subFrame) {
        FramePtr image = readOne(frame, subFrame, nullptr);
        sum->addFrame(image.get());
        sum->addSubFrame(std::move(image));
    }
    return sum;
}

FramePtr FrameFile::readFrame(zt::u32 frame, PixelDigest* digest) {
    if (fileInfo.subFrames == 0)
        return readOne(frame, 0, digest);
    FramePtr sum = sumOfSubFrames(frame);
    if (digest)
        digest->add(sum->bytes());
    return sum;
}

} // namespace ombrel
