#pragma once

#include "frame/FrameFile.h"
#include "metadata/Metadata.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ombrel {

// Counts dark frames in files from which other frames are read.
class UnusedDarks {
public:
    // Adding a file again is harmless.
    void add(const FrameFileInfo& info);
    // A message with the reason; empty without dark frames.
    std::string text(const std::string& reason) const;

private:
    std::map<std::string, zt::u32> counts; // of each file, by its path
};

// The frames of several files, one after the other, counted from 0 across all files. All frames have the same
// size; pixel types may differ between files. Only the few files that were read last are open. Several
// threads may read at once.
class FrameStack {
public:
    // Examines all files; a folder or a pattern is the series of its files. Throws Error without paths, for a
    // file that can't be read, and for different frame sizes.
    FrameStack(const std::vector<std::string>& inputs, FrameRole role);

    zt::u32 width() const { return parts.front().info.width; }
    zt::u32 height() const { return parts.front().info.height; }
    zt::u64 frameCount() const { return parts.back().end; }
    std::size_t fileCount() const { return parts.size(); }
    const FrameFileInfo& info(std::size_t file) const { return parts[file].info; }
    // The paths of all files, with the datasets that the inputs name.
    std::vector<std::string> paths() const;

    // The files that hold these frames, with their frames.
    std::vector<FramesOfFile> filesOf(zt::u64 begin, zt::u64 end) const;

    // `frame` must be below frameCount(). Adds its pixels to the digest if there is one.
    FramePtr readFrame(zt::u64 frame, PixelDigest* digest = nullptr);
    // In seconds; 0 if the file does not have it.
    double acqTime(zt::u64 frame);
    // Whether reading the frames out of order costs nothing. Otherwise a file may have to be unpacked again.
    bool readsInAnyOrder() const;
    // A message that dark frames in the files are not used, for this reason; empty if the files hold none.
    std::string unusedDarks(const std::string& reason) const { return darks.text(reason); }
    // A message on files of a folder that hold no frames; empty if all do.
    const std::string& passedOver() const { return others; }
    // "PATH, frame N", the frame counted in its file.
    std::string where(zt::u64 frame) const;
    // The pixel type of the frame after reading.
    zt::u8 pixelType(zt::u64 frame) const;

    // A frame in its file.
    struct Place {
        std::shared_ptr<FrameFile> file;
        zt::u32 frame;
    };
    Place placeOf(zt::u64 frame);

private:
    struct Part {
        FrameFileInfo info;
        std::shared_ptr<const FrameFileInfo> model; // see FrameFile::open(); shared by a series
        zt::u64 begin = 0;                          // of the whole stack
        zt::u64 end = 0;
    };
    struct OpenFile {
        std::size_t part;
        std::shared_ptr<FrameFile> file;
    };

    void addSeries(const std::string& input);
    void addFile(const std::string& path);
    std::vector<FrameFileInfo> openAll(const std::vector<std::string>& paths,
                                       std::shared_ptr<const FrameFileInfo>& model) const;
    void addPart(const FrameFileInfo& info, const std::shared_ptr<const FrameFileInfo>& model);
    std::size_t partOf(zt::u64 frame) const;
    std::shared_ptr<FrameFile> fileOf(std::size_t part);
    std::shared_ptr<FrameFile> openFileOf(std::size_t part);
    std::shared_ptr<FrameFile> openAgain(std::size_t part) const;
    // Called under openMutex. The first returns null if the file is not open, the second the file that makes
    // room, if any.
    std::shared_ptr<FrameFile> findOpen(std::size_t part);
    std::shared_ptr<FrameFile> keepOpen(std::size_t part, std::shared_ptr<FrameFile> file);

    FrameRole role;
    std::vector<Part> parts;
    std::vector<OpenFile> open; // the one that was read last at the end
    std::mutex openMutex;
    UnusedDarks darks;
    std::string others;
};

// A folder or a pattern as one file of frames, whose pixels all have the same type.
class FrameSeries final : public FrameFile {
public:
    FrameSeries(const std::string& input, FrameRole role);

    double acqTime(zt::u32 frame) const override;

private:
    void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;

    mutable FrameStack stack; // opens files as they are needed
};

} // namespace ombrel
