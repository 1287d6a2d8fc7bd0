#pragma once

#include "frame/FrameFile.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// Dark frames in files of which other frames were asked for.
class UnusedDarks {
public:
    // A file may be added again.
    void add(const FrameFileInfo& info);
    std::string text() const;

private:
    std::map<std::string, zt::u32> counts; // of each file, by its path
};

// The frames of several files, one after the other, counted from 0 throughout. All frames have one size;
// pixel types may differ from file to file. One object must not be used from two threads at once.
class FrameStack {
public:
    // Opens all files. Throws Error: no path, a file that can't be read, or two of different frame sizes.
    FrameStack(const std::vector<std::string>& paths, FrameRole role);

    zt::u32 width() const { return parts.front().file->info().width; }
    zt::u32 height() const { return parts.front().file->info().height; }
    zt::u64 frameCount() const { return parts.back().end; }
    std::size_t fileCount() const { return parts.size(); }
    const FrameFileInfo& info(std::size_t file) const { return parts[file].file->info(); }

    // `frame` must be below frameCount().
    FramePtr readFrame(zt::u64 frame);
    // Says that files hold dark frames, which no command uses; empty when none does.
    std::string unusedDarks() const { return darks.text(); }
    // "PATH, frame N", the frame counted in its file.
    std::string where(zt::u64 frame) const;
    // Of the frame as it is read.
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
