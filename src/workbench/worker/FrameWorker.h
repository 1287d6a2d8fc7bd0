#pragma once

#include "model/Workspace.h"
#include "panes/FrameView.h"
#include "worker/PluginHost.h"

#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace ombrel::workbench {

class StackViewer;

// Reads and corrects frames on a thread of its own. A request replaces the one that waits; the one at work is
// finished. Signals come from that thread; receivers on the window's get them there.
class FrameWorker final : public QObject {
    Q_OBJECT
public:
    // `pluginPath` empty finds the plug-in. A chain that takes longer than `slowSeconds` waits until the
    // slider rests, so that raw frames follow it.
    explicit FrameWorker(std::string pluginPath, double slowSeconds = 0.08);
    ~FrameWorker() override;
    // Waits for the frame or task at work; what waits is never done.
    void stop();

    void request(FrameRequest wanted);
    // Work between two frames, on the worker's thread. Tasks are done in order, all of them, and before the
    // request that waits. What they throw is logged.
    void run(std::function<void(StackViewer&)> task);

signals:
    void opened(const ombrel::workbench::StackFacts& facts, const ombrel::workbench::PluginHostPtr& host);
    void openFailed(const ombrel::workbench::OpenFailure& failure);
    void shown(const ombrel::workbench::ShownFramePtr& frame);
    void linkReported(const ombrel::workbench::LinkReport& report);
    void busyChanged(bool isBusy);
    void logged(const QString& line);

private:
    void work();
    void serve(StackViewer& viewer, const FrameRequest& wanted);
    void perform(StackViewer& viewer, const std::function<void(StackViewer&)>& task);
    // Whether a newer request came within a moment.
    bool isOvertaken(std::chrono::milliseconds within);

    std::string plugin;
    double slow; // seconds
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<FrameRequest> waiting;
    std::deque<std::function<void(StackViewer&)>> tasks;
    bool stopping = false;
    std::thread thread; // the last member
};

} // namespace ombrel::workbench
