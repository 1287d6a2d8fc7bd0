#pragma once

#include "frame/Frame.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// Which frames of a file are meant, where the file tells them apart.
enum class FrameRole {
    Any,    // all that the file holds
    Sample, // what is to be corrected: image_key 0
    Flat,   // flat fields: image_key 1, or /exchange/data_white in the Data Exchange layout
};

// How many frames of each kind a file holds.
struct FrameKinds {
    zt::u32 sample = 0;
    zt::u32 flat = 0;
    zt::u32 dark = 0;
};

// How far the run came that wrote a file of ours.
struct RunState {
    zt::u32 framesDone = 0;
    zt::u32 framesPlanned = 0;
    zt::u32 framesFailed = 0; // of those done
    bool complete = false;    // the run came to its end
};

// What a frame file holds. The frames of one file have one size and one pixel type.
struct FrameFileInfo {
    std::string path;    // as it was given, "::/dataset" included
    std::string format;  // "TIFF" or "HDF5"
    std::string dataset; // the dataset within the file; empty for TIFF
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u8 pixelType = 0;
    zt::u32 frames = 0;              // of the role that was asked for
    zt::u32 subFrames = 0;           // of each frame; 0 when frames have none
    std::optional<double> acqTime;   // seconds, where the file tells it; that of frame 0 where they differ
    std::optional<FrameKinds> kinds; // where the file tells them apart
    std::optional<RunState> run;     // for an output of ours; only its frames done count as frames
};

// A file of frames, open for reading. It is told by its content, never by its name: TIFF (strips or tiles,
// any page count, BigTIFF too) or HDF5 (a path may go on with "::/path/of/dataset").
//
// Frames and sub-frames are counted from 0. One object must not be used from two threads at once.
class FrameFile {
public:
    // Throws Error when the file can't be opened, is no frame file, is cut off, or holds frames that can't be
    // read: the text names the path, and for HDF5 lists the datasets where the choice was not clear.
    static std::unique_ptr<FrameFile> open(const std::string& path, FrameRole role = FrameRole::Any);

    // The files that frames of this file are read from, itself among them; none where it can't be read.
    static std::vector<std::string> sourcesOf(const std::string& path);

    // True when the content is that of a frame file, whole or not; never throws.
    static bool looksLikeFrames(const std::string& path);

    virtual ~FrameFile() = default;

    const FrameFileInfo& info() const { return fileInfo; }

    // Reads one stored image, in the file's pixel type, into width * height pixels. `subFrame` must be 0
    // where frames have none. Throws Error naming path and frame.
    virtual void readImage(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) = 0;

    // The acquisition time of a frame in seconds, 0 when the file does not tell it.
    virtual double acqTime(zt::u32 frame) const;

    // "PATH, frame N", the begin of every message on a frame.
    std::string where(zt::u32 frame) const;

    // The frame as filters get it: named by file and index, with the acquisition time, and, where the file
    // holds sub-frames, the sum of these in double with the sub-frames behind it.
    FramePtr readFrame(zt::u32 frame);

protected:
    FrameFileInfo fileInfo;
    zt::u64 scratchBytes = 0; // that reading takes besides the pixels
};

} // namespace ombrel
