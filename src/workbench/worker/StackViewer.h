#pragma once

#include "model/Workspace.h"
#include "panes/FrameView.h"
#include "stack/FrameStack.h"
#include "worker/RunningChain.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::workbench {

// The open stack with the chain that runs on it, and the frame of it that is looked at. All of it on one
// thread. The steps for a request are open(), read(), follow(), correct() and show(), of which only those do
// something that have to.
class StackViewer {
public:
    StackViewer(std::string plugin, Host::LogSink logSink)
        : pluginPath(std::move(plugin)), sink(std::move(logSink)) {}

    // True when the stack of the request was opened. Throws Error, and leaves open what was.
    bool open(const FrameRequest& request);
    // True when another frame was read.
    bool read(const FrameRequest& request);
    std::vector<LinkReport> follow(const ChainState& wanted);
    void correct();
    ShownFramePtr show(const FrameRequest& request) const;

    StackFacts facts() const;
    const PluginHostPtr& pluginHost() const { return host; }
    RunningChain& chain() { return *running; }
    // What a detector would have measured for a settings window: the flat fields of the files where they tell
    // them apart, at most `most`, else the frame that is looked at.
    std::vector<FramePtr> measuredFrames(zt::u64 most);
    // How long the chain took for the last frame.
    double lastSeconds() const { return view.seconds; }

private:
    FramePtr frameOf(FrameStack& frames, zt::u64 frame) const;

    std::string pluginPath;
    Host::LogSink sink;
    std::vector<std::string> openInputs;
    int opening = 0; // of what is open
    DeviceState device;
    PluginHostPtr host;
    std::unique_ptr<FrameStack> stack;
    std::unique_ptr<RunningChain> running;
    ChainState chainState;
    FramePtr raw;
    FrameView view;
};

} // namespace ombrel::workbench
