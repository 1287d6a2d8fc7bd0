#pragma once

#include "inspection/FrameMarks.h"
#include "model/Workspace.h"
#include "panes/FrameView.h"
#include "stack/FrameStack.h"
#include "stack/PixelMask.h"
#include "uncertainty/SigmaModel.h"
#include "worker/RunningChain.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::workbench {

// The open stack, the chain that runs on it, and the current frame. Used on one thread only. A request takes
// the steps open(), read(), follow(), correct() and show(); each does only what has changed.
class StackViewer {
public:
    StackViewer(std::string plugin, Host::LogSink logSink)
        : pluginPath(std::move(plugin)), sink(std::move(logSink)) {}

    // Returns whether a stack was opened. Throws Error, and then keeps the previous one.
    bool open(const FrameRequest& request);
    // Returns whether a new frame was read.
    bool read(const FrameRequest& request);
    std::vector<LinkReport> follow(const ChainState& wanted);
    void correct();
    ShownFramePtr show(const FrameRequest& request) const;

    StackFacts facts() const;
    const PluginHostPtr& pluginHost() const { return host; }
    RunningChain& chain() { return *running; }
    // The acquisition to offer to a settings window: the flat fields of the files if they mark them, at most
    // `most`, else the current frame.
    std::vector<FramePtr> measuredFrames(zt::u64 most);
    // Time that the chain took for the last frame.
    double lastSeconds() const { return view.seconds; }

private:
    void findFaults();
    // Of the chain, when it is first needed.
    void makeSigma();
    void showSigma(const Frame& corrected, const FrameCounts& counts);
    FramePtr frameOf(FrameStack& frames, zt::u64 frame) const;

    std::string pluginPath;
    Host::LogSink sink;
    std::vector<std::string> openInputs;
    int opening = 0; // number of the request that was opened
    DeviceState device;
    std::optional<PixelMask> mask;     // of the device
    std::optional<FrameMarks> marks;   // once a stack is open
    std::vector<zt::u32> storedFaults; // that the open file, an output of ombrel, holds
    FaultsPtr faults;                  // of all frames, with those of the chain
    PluginHostPtr host;
    std::unique_ptr<FrameStack> stack;
    std::unique_ptr<RunningChain> running;
    ChainState chainState;
    std::unique_ptr<SigmaModel> sigma; // null if it is not known
    std::string noSigma;               // why not; empty before makeSigma()
    FramePtr raw;
    FrameView view;
};

} // namespace ombrel::workbench
