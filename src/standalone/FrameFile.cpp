#include "standalone/FrameFile.h"

#include "standalone/BatchMemory.h"
#include "standalone/Error.h"
#include "standalone/FileDescriptor.h"
#include "standalone/FileKind.h"
#include "standalone/Hdf5File.h"
#include "standalone/PixelType.h"
#include "standalone/SizeText.h"
#include "standalone/TiffFile.h"

#include <algorithm>

#include "zt/DataType.h"

namespace ombrel {

namespace {

std::unique_ptr<FrameFile> openByContent(const std::string& path, FrameRole role) {
    const auto [file, dataset] = splitDatasetPath(path);
    const FileDescriptor content = FileDescriptor::openForReading(file);
    checkRegular(content, file);
    switch (fileKind(content)) {
    case FileKind::Tiff:
        if (!dataset.empty())
            throw Error(path + ": a TIFF file holds no datasets; leave out what follows \"::\"");
        return std::make_unique<TiffFile>(file);
    case FileKind::Hdf5:
        return std::make_unique<Hdf5File>(path, role);
    default:
        throw Error(file + ": is neither TIFF nor HDF5");
    }
}

// A damaged file may claim any size.
void checkMemory(const FrameFileInfo& info, zt::u64 scratchBytes) {
    const double pixels = static_cast<double>(info.width) * info.height;
    const double image = pixels * static_cast<double>(pixelSize(info.pixelType));
    const double frame = info.subFrames == 0 ? image : image * info.subFrames + pixels * sizeof(double);
    const double needed = frame + static_cast<double>(scratchBytes);
    constexpr double alwaysThere = 1 << 26;
    if (needed <= alwaysThere)
        return;
    const auto available = static_cast<double>(availableMemory());
    if (needed > available)
        throw Error(info.path + ": a frame of " + sizeText(info.width, info.height) + " pixels needs " +
                    bytesText(needed) + " of memory, but only " + bytesText(available) + " is available");
}

} // namespace

std::unique_ptr<FrameFile> FrameFile::open(const std::string& path, FrameRole role) {
    auto file = openByContent(path, role);
    checkMemory(file->info(), file->scratchBytes);
    return file;
}

bool FrameFile::looksLikeFrames(const std::string& path) {
    try {
        const FileKind kind = fileKind(FileDescriptor::openForReading(splitDatasetPath(path).file));
        return kind == FileKind::Tiff || kind == FileKind::Hdf5;
    } catch (const Error&) {
        return false;
    }
}

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
