#include "worker/FrameWorker.h"

#include "worker/StackViewer.h"

#include <chrono>
#include <exception>

namespace ombrel::workbench {

namespace {

// The slider counts as resting after this long without a newer request.
constexpr std::chrono::milliseconds rest{120};

} // namespace

FrameWorker::FrameWorker(std::string pluginPath, double slowSeconds)
    : plugin(std::move(pluginPath)), slow(slowSeconds), thread([this] { work(); }) {}

FrameWorker::~FrameWorker() {
    stop();
}

void FrameWorker::stop() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (thread.joinable())
        thread.join();
}

void FrameWorker::request(FrameRequest wanted) {
    {
        const std::lock_guard lock(mutex);
        waiting = std::move(wanted);
    }
    changed.notify_all();
}

void FrameWorker::run(std::function<void(StackViewer&)> task) {
    {
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(task));
    }
    changed.notify_all();
}

void FrameWorker::work() {
    StackViewer viewer(plugin,
                       [this](const std::string& line) { emit logged(QString::fromStdString(line)); });
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return stopping || waiting || !tasks.empty(); });
        if (stopping)
            return;
        std::function<void(StackViewer&)> task;
        if (!tasks.empty()) {
            task = std::move(tasks.front());
            tasks.pop_front();
        } else {
            task = [this, wanted = std::move(*waiting)](StackViewer& each) { serve(each, wanted); };
            waiting.reset();
        }
        lock.unlock();
        perform(viewer, task);
        lock.lock();
    }
}

void FrameWorker::perform(StackViewer& viewer, const std::function<void(StackViewer&)>& task) {
    emit busyChanged(true);
    try {
        task(viewer);
    } catch (const std::exception& error) {
        emit logged(error.what());
    }
    emit busyChanged(false);
}

bool FrameWorker::isOvertaken(std::chrono::milliseconds within) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, within, [this] { return stopping || waiting; });
}

void FrameWorker::serve(StackViewer& viewer, const FrameRequest& wanted) {
    try {
        if (viewer.open(wanted))
            emit opened(viewer.facts(), viewer.pluginHost());
    } catch (const SeveralDatasets& error) {
        emit openFailed({wanted.inputs, wanted.opening, error.what(), error.file, error.datasets});
        return;
    } catch (const std::exception& error) {
        emit openFailed({wanted.inputs, wanted.opening, error.what(), {}, {}});
        return;
    }
    const bool isSlow = viewer.lastSeconds() > slow;
    if (viewer.read(wanted) && isSlow) {
        emit shown(viewer.show(wanted));
        if (isOvertaken(rest))
            return;
    }
    for (const LinkReport& report : viewer.follow(wanted.chain))
        emit linkReported(report);
    viewer.correct();
    emit shown(viewer.show(wanted));
}

} // namespace ombrel::workbench
