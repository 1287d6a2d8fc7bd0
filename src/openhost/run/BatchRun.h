#pragma once

#include "frame/Frame.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRow.h"
#include "host/Chain.h"
#include "inspection/FrameMarks.h"
#include "zt/Types.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

class FrameLevels;
class FrameStack;
class SigmaModel;
struct FrameSigma;

// A batch: frames `begin` to `end` - 1 of a stack are corrected by chains and written to an output.
struct BatchPlan {
    FrameStack& stack;
    std::span<Chain> workers; // at least one; the workers correct different frames in parallel
    zt::u64 begin = 0;
    zt::u64 end = 0;
    std::optional<double> acqTime; // seconds, for every frame; without it, the time from the file
    ApplyMode mode = ApplyMode::Copy;
    OutputPlan output;                   // width, height and frames are filled in
    std::span<const double> dark = {};   // subtracted from each frame before the chain; empty for none
    const FrameLevels* levels = nullptr; // of the quantity that is stored; null for counts
    const FrameMarks* marks = nullptr;   // fills marked pixels before the chain; null for none
    const SigmaModel* sigma = nullptr;   // makes the planes of the output; null for none
    // An incomplete output to resume; null for a new one.
    const OutputState* begun = nullptr;
    // The filters carry state from frame to frame: all earlier frames of the stack are passed through them
    // first, and there must be only one worker.
    bool remembers = false;
    // Returns the choice of the worker's adaptive filter for the frame just corrected; may be empty.
    std::function<std::optional<SelectedFlatField>(std::size_t worker, zt::u64 frame)> choice;
};

// Seconds of a frame's way through a run.
struct FrameTimes {
    double read = 0;   // with the figures and the hash of the pixels read
    double filter = 0; // in all filters
    double write = 0;  // with the conversion to the output's pixels, their figures and their hash
    double way = 0;    // from the start of reading until the frame is stored, with all waiting
};

// The threads that read frames for a number of workers. One reader supplies several workers; several readers
// do not keep the order of the frames.
std::size_t readersFor(const FrameStack& stack, std::size_t workers);

// The number of frames in the pipeline: enough to keep all threads busy, limited by memory.
std::size_t framesInFlight(const FrameStack& stack, std::size_t workers);

// Callbacks during the run, for each frame in order, with its index in the stack. Any of them may be empty.
struct BatchListener {
    std::function<void(zt::u64 frame)> frameDone; // the frame is stored, successful or failed
    std::function<void(zt::u64 frame, const FrameRow& row)> frameRow;
    std::function<void(const FrameTimes& times)> frameTimed; // of a successful frame
    std::function<void(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected)>
        frameCorrected;
    std::function<bool()> wantsStop; // called before each frame, on another thread
};

struct BatchResult {
    zt::u64 corrected = 0;
    zt::u64 failed = 0;
    bool stopped = false;
    // False if no frame succeeded: then no output is written.
    bool hasOutput = false;
};

// Reads, corrects and writes frames in parallel, and stores them in order. If a frame can't be read, or a
// filter refuses it or throws, it is a failed frame; the output stores it as NaN, so that indexes are kept.
// The output is created at the first successful frame, when its size is known. Throws Error if the output
// can't be written; the frames stored so far are valid.
BatchResult runBatch(const BatchPlan& plan, const BatchListener& listener);

// The output of a batch: created at the first successful frame, when its size is known, or opened to be
// resumed. Failed frames before the first successful one are written at that time.
class DeferredOutput {
public:
    explicit DeferredOutput(const BatchPlan& batch);

    // The frame in the output's pixel type, and its planes; null for a failed frame. Throws Error.
    void append(const Frame* frame, const FrameSigma& sigma, const FrameRow& row);
    bool exists() const { return output != nullptr; }
    void finish();

private:
    void make(const Frame& first);
    void storePlanes(const FrameSigma& sigma);

    const BatchPlan& plan;
    OutputPlan made;
    std::unique_ptr<FrameOutput> output;
    std::vector<FrameRow> earlyFailures;
};

} // namespace ombrel
