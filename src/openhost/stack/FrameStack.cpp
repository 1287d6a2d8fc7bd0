#include "stack/FrameStack.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "zt/Types.h"

#include <algorithm>

namespace ombrel {

namespace {

std::string pathAndSize(const FrameFileInfo& info) {
    return info.path + " has " + sizeText(info.width, info.height);
}

} // namespace

void UnusedDarks::add(const FrameFileInfo& info) {
    if (info.kinds && info.kinds->dark > 0 && !info.dataset.ends_with("/data_dark"))
        counts[info.path] = info.kinds->dark;
}

std::string UnusedDarks::text() const {
    if (counts.empty())
        return {};
    zt::u64 frames = 0;
    for (const auto& [path, count] : counts)
        frames += count;
    const std::string files = counts.size() == 1 ? "" : " and " + countText(counts.size() - 1, "more file");
    return counts.begin()->first + files + ": not used: " + countText(frames, "dark frame") +
           "; no filter subtracts dark frames";
}

FrameStack::FrameStack(const std::vector<std::string>& paths, FrameRole role) {
    if (paths.empty())
        throw Error("no input files");
    zt::u64 begin = 0;
    for (const std::string& path : paths) {
        auto file = FrameFile::open(path, role);
        const FrameFileInfo& info = file->info();
        const FrameFileInfo& first = parts.empty() ? info : parts.front().file->info();
        if (info.width != first.width || info.height != first.height)
            throw Error("the frames differ in size: " + pathAndSize(first) + ", but " + pathAndSize(info));
        if (role == FrameRole::Sample || role == FrameRole::Flat)
            darks.add(info);
        const zt::u64 end = begin + info.frames;
        parts.push_back({std::move(file), begin, end});
        begin = end;
    }
}

const FrameStack::Part& FrameStack::partOf(zt::u64 frame) const {
    return *std::ranges::upper_bound(parts, frame, {}, &Part::end);
}

FramePtr FrameStack::readFrame(zt::u64 frame, PixelDigest* digest) {
    const Part& part = partOf(frame);
    return part.file->readFrame(static_cast<zt::u32>(frame - part.begin), digest);
}

zt::u8 FrameStack::pixelType(zt::u64 frame) const {
    const FrameFileInfo& info = partOf(frame).file->info();
    return info.subFrames == 0 ? info.pixelType
                               : static_cast<zt::u8>(zt::DT_DOUBLE); // the sum of its sub-frames
}

std::string FrameStack::where(zt::u64 frame) const {
    const Part& part = partOf(frame);
    return part.file->where(static_cast<zt::u32>(frame - part.begin));
}

} // namespace ombrel
