#pragma once

#include "base/Error.h"
#include "frame/FrameRange.h"
#include "host/Chain.h"
#include "run/SharedChain.h"
#include "stack/FrameStack.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace ombrel {

// The frames of a stack as a chain corrects them, for a caller that asks for one after the other. They are
// read and corrected ahead by threads of their own, a few at a time, so that memory stays constant. A chain
// that carries state corrects all frames before the range first.
class CorrectedFrames {
public:
    struct Plan {
        std::shared_ptr<FrameStack> stack;
        std::shared_ptr<SharedChain> chain;
        FrameRange range;
        std::size_t jobs = 1;
        std::optional<double> acqTime; // seconds, for every frame; without it, the time from the file
    };
    struct Item {
        zt::u64 index = 0; // in the stack
        FrameResult result;
    };
    enum class Answer { Item, Timeout, End };

    explicit CorrectedFrames(Plan framesPlan);
    // Stops after the frames in work.
    ~CorrectedFrames();
    CorrectedFrames(const CorrectedFrames&) = delete;
    CorrectedFrames& operator=(const CorrectedFrames&) = delete;

    // The next frame in order, corrected or failed. Waits at most that long. Throws Error if the threads had
    // to end.
    Answer next(Item& item, std::chrono::milliseconds most);

private:
    void run();
    void read(Item& item) const;
    void hand(Item& item);
    bool isStopped();

    const Plan plan;
    zt::u64 begun;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Item> handed; // in order; as many as there are jobs, so that no side waits for each frame
    bool stopped = false;
    bool ended = false;
    std::exception_ptr failure;
    std::jthread thread; // the last member: it uses all others
};

} // namespace ombrel
