#pragma once

#include "base/Console.h"

#include <QFuture>
#include <QObject>

#include <atomic>
#include <functional>
#include <string>

namespace ombrel::workbench {

// A small data set of a simulated detector to try the workbench with.
struct DemoData {
    std::string frames;    // sample frames
    std::string flatField; // settings that match the frames
};

// Returns the data set in the folder, and first creates it there if it is missing or incomplete; `advanced`
// then reports progress. Throws Error.
DemoData prepareDemoData(const std::string& folder, const std::string& plugin, Console& console,
                         const std::function<void(int done, int of)>& advanced);

// Creates the demo data on a separate thread.
class DemoJob final : public QObject {
    Q_OBJECT
public:
    // An empty `pluginPath` searches for the plug-in.
    DemoJob(Console& messages, std::string pluginPath) : console(messages), plugin(std::move(pluginPath)) {}
    // Waits for the job to end.
    ~DemoJob() override;

    // Ignored while a job runs.
    void start(const std::string& folder);

signals:
    // Emitted on the job's thread.
    void advanced(int done, int of);
    void made(const ombrel::workbench::DemoData& demo);
    void failed(const QString& reason);

private:
    void run(const std::string& folder);

    Console& console;
    std::string plugin;
    std::atomic<bool> running = false;
    QFuture<void> work;
};

} // namespace ombrel::workbench
