#pragma once

#include "base/Console.h"
#include "host/Chain.h"
#include "host/Session.h"
#include "inspection/FrameMarks.h"
#include "run/RunSetup.h"
#include "zt/Types.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <vector>

namespace ombrel {

// A chain for frames of one size that any number of threads use at once, each with filter instances of its
// own, which are kept for the next frame. Filters that carry state from frame to frame have one instance, and
// threads wait for each other. The dark that the calibrations carry is subtracted from each frame first.
//
// Frames need not come from a stack: see Frame::lend().
class SharedChain {
public:
    // Of the options the chain's are used: links, parameters, device type, marks and plug-in. `deviceMask`
    // holds 0 for a masked pixel; empty for none. Throws UsageError, Misfit if the settings or their dark are
    // for frames of another size, or Error.
    SharedChain(const RunOptions& runOptions, FrameSize size, std::vector<zt::u8> deviceMask,
                Console& messages);

    zt::u32 width() { return session.device().width(); }
    zt::u32 height() { return session.device().height(); }
    bool remembers() const { return isAlone; }

    // The corrected frame in double, with the pixels that the detector marked filled before the chain; or the
    // reason of the failure. Throws Error if no further instance can be made.
    FrameResult apply(FramePtr frame);

    // Flags of the pixels that the filters replace in every frame, see touchedPixels().
    std::vector<zt::u32> touched(const std::optional<PixelMask>& mask);

private:
    Chain take();
    Chain make();
    void giveBack(Chain chain);
    void takeDark(const std::vector<LinkFacts>& facts);
    FrameResult applyWith(Chain& chain, FramePtr frame) const;

    const RunOptions options;
    Console& console;
    Session session;
    FrameMarks marks;
    std::optional<DarkField> dark;
    std::mutex mutex;        // of the idle chains
    std::mutex makeMutex;    // held while an instance is made
    std::mutex oneByOne;     // held during a frame by chains that carry state
    std::vector<Chain> idle; // destroyed before the session
    std::atomic<bool> isAlone = false;
};

} // namespace ombrel
