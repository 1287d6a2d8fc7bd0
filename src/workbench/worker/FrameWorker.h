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

// Reads and corrects frames on its own thread. A new request replaces the waiting one; the running one is
// finished. Signals are emitted on that thread; the window's receivers get them queued.
class FrameWorker final : public QObject {
    Q_OBJECT
public:
    // An empty `pluginPath` searches for the plug-in. A chain slower than `slowSeconds` runs only when the
    // slider rests, so that the raw frames can follow the slider.
    explicit FrameWorker(std::string pluginPath, double slowSeconds = 0.08);
    ~FrameWorker() override;
    // Waits for the running frame or task; waiting ones are dropped.
    void stop();

    void request(FrameRequest wanted);
    // Runs a task on the worker's thread between two frames. All tasks run, in order, before the waiting
    // request. Exceptions are logged.
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
    // Whether a newer request arrives within the given time.
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
