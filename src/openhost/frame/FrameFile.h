#pragma once

#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "frame/Frame.h"
#include "frame/PixelPacking.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

class PixelDigest;

// Selects frames of a file that marks its frames.
enum class FrameRole {
    Any,    // all that the file holds
    Sample, // the frames to correct: image_key 0
    Flat,   // flat fields: image_key 1, or /exchange/data_white in the Data Exchange layout
    Dark,   // dark fields: image_key 2, or /exchange/data_dark
};

// Number of frames of each kind in a file.
struct FrameKinds {
    zt::u32 sample = 0;
    zt::u32 flat = 0;
    zt::u32 dark = 0;
};

// The progress of the run that wrote a file of ombrel.
struct RunState {
    zt::u32 framesDone = 0;
    zt::u32 framesPlanned = 0;
    zt::u32 framesFailed = 0; // included in framesDone
    bool complete = false;    // the run has finished
};

// Properties of a frame file. All frames of one file have the same size and pixel type.
struct FrameFileInfo {
    std::string path;    // as given, including "::/dataset"
    std::string format;  // "TIFF", "HDF5", "EDF" or "CBF"; of a folder with the number of files
    std::string dataset; // the dataset within the file; empty for other formats than HDF5
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u8 pixelType = 0;
    zt::u32 frames = 0;              // of the requested role
    zt::u32 subFrames = 0;           // of each frame; 0 if frames have none
    std::optional<double> acqTime;   // seconds, if the file has it; that of frame 0 if they differ
    std::optional<FrameKinds> kinds; // if the file marks its frames
    std::vector<std::string> groups; // of an HDF5 file: they hold the dataset or links to it, its own first
    std::optional<PixelPacking> packing; // of an output in 16 bits; its frames are read as values
    std::string maskDataset;             // of the detector, next to the frames; empty without one
    std::optional<RunState> run;         // of a file written by ombrel; only its frames done are counted
    std::vector<std::string> sources;    // other files that the frames are read from
    std::string passedOver;              // a message on the other files of a folder, if any
    bool inAnyOrder = false;             // reading the frames out of order costs nothing
};

// "PATH, frame N".
std::string frameText(const std::string& path, zt::u32 frame);

// A file of frames, open for reading. Its content, not its name, selects the format: TIFF (strips or tiles,
// any page count, BigTIFF too), HDF5 (the path may be followed by "::/path/of/dataset"), EDF or CBF. A folder
// or a pattern is read as the series of its files.
//
// Frames and sub-frames are counted from 0. Several threads may read at once; where the file stores the bytes
// of the pixels, they do not wait for each other.
class FrameFile {
public:
    // Throws Error if the file can't be opened, is not a frame file, is truncated, or holds frames that can't
    // be read: the text names the path, and for HDF5 lists the datasets if the choice is not clear.
    //
    // `alike`: another file of the same series, opened for the same role. Then a file that holds its frames
    // in the same place is not searched for them, and its mask is not looked for.
    static std::unique_ptr<FrameFile> open(const std::string& path, FrameRole role = FrameRole::Any,
                                           const FrameFileInfo* alike = nullptr);

    // All files that frames of this file are read from, including the file itself; empty if it can't be read.
    static std::vector<std::string> sourcesOf(const std::string& path);

    // Whether files of that kind hold frames.
    static bool canRead(FileKind kind);

    // The usual names of all files that can be read, as a file dialog takes them: "*.h5 *.hdf5 *.nxs *.tif".
    static std::string namePatterns();

    // Whether the content looks like a frame file, possibly a damaged one; never throws.
    static bool looksLikeFrames(const std::string& path);

    virtual ~FrameFile() = default;

    const FrameFileInfo& info() const { return fileInfo; }

    // Reads one stored image, in the file's pixel type, into width * height pixels, and adds it to the digest
    // if there is one. `subFrame` must be 0 if frames have none. Throws Error naming path and frame.
    void readImage(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels,
                   PixelDigest* digest = nullptr);

    // The acquisition time of a frame in seconds, 0 if the file does not have it.
    virtual double acqTime(zt::u32 frame) const;

    // "PATH, frame N", the start of every message on a frame.
    std::string where(zt::u32 frame) const { return frameText(fileInfo.path, frame); }

    // The frame as passed to filters: named by file and index, with the acquisition time. If the file holds
    // sub-frames, it is their sum in double, with the sub-frames attached. Its pixels are added to the digest
    // if there is one.
    FramePtr readFrame(zt::u32 frame, PixelDigest* digest = nullptr);

protected:
    // An image that is stored as the bytes of its pixels.
    struct RawImage {
        const FileDescriptor& file;
        zt::u64 offset;
    };
    virtual std::optional<RawImage> rawImage(zt::u32, zt::u32) const { return std::nullopt; }
    // Reads an image that is stored in any other way. Called by one thread at a time.
    virtual void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) = 0;

    FrameFileInfo fileInfo;
    zt::u64 scratchBytes = 0; // needed for reading, in addition to the pixels

private:
    FramePtr sumOfSubFrames(zt::u32 frame);
    FramePtr readOne(zt::u32 frame, zt::u32 subFrame, PixelDigest* digest);

    std::mutex storedMutex;
};

} // namespace ombrel
