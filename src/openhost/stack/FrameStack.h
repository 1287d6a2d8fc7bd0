#pragma once

#include "frame/FrameFile.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// Counts dark frames in files from which other frames are read.
class UnusedDarks {
public:
    // Adding a file again is harmless.
    void add(const FrameFileInfo& info);
    std::string text() const;

private:
    std::map<std::string, zt::u32> counts; // of each file, by its path
};

// The frames of several files, one after the other, counted from 0 across all files. All frames have the same
// size; pixel types may differ between files. Several threads may read at once.
class FrameStack {
public:
    // Opens all files. Throws Error without paths, for a file that can't be read, and for different frame
    // sizes.
    FrameStack(const std::vector<std::string>& paths, FrameRole role);

    zt::u32 width() const { return parts.front().file->info().width; }
    zt::u32 height() const { return parts.front().file->info().height; }
    zt::u64 frameCount() const { return parts.back().end; }
    std::size_t fileCount() const { return parts.size(); }
    const FrameFileInfo& info(std::size_t file) const { return parts[file].file->info(); }

    // `frame` must be below frameCount(). Adds its pixels to the digest if there is one.
    FramePtr readFrame(zt::u64 frame, PixelDigest* digest = nullptr);
    // A message on dark frames in the files, which no command uses; empty if the files hold no dark frames.
    std::string unusedDarks() const { return darks.text(); }
    // "PATH, frame N", the frame counted in its file.
    std::string where(zt::u64 frame) const;
    // The pixel type of the frame after reading.
    zt::u8 pixelType(zt::u64 frame) const;

private:
    struct Part {
        std::unique_ptr<FrameFile> file;
        zt::u64 begin = 0; // of the whole stack
        zt::u64 end = 0;
    };

    const Part& partOf(zt::u64 frame) const;

    std::vector<Part> parts;
    UnusedDarks darks;
};

} // namespace ombrel
