#pragma once

#include "base/Console.h"

#include <QObject>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace ombrel::workbench {

// A small data set of a simulated detector to try the workbench with.
struct DemoData {
    std::string frames;    // of a sample
    std::string flatField; // settings for them
};

// Takes the set from the folder, or makes it there when it is not whole; `advanced` is told done and of.
// Throws Error.
DemoData prepareDemoData(const std::string& folder, const std::string& plugin, Console& console,
                         const std::function<void(int done, int of)>& advanced);

// Makes the demo data on a thread of its own.
class DemoJob final : public QObject {
    Q_OBJECT
public:
    // `pluginPath` empty finds the plug-in.
    DemoJob(Console& messages, std::string pluginPath) : console(messages), plugin(std::move(pluginPath)) {}
    // Waits for the end of what is being made.
    ~DemoJob() override;

    // Does nothing while it runs.
    void start(const std::string& folder);

signals:
    // From the job's thread.
    void advanced(int done, int of);
    void made(const ombrel::workbench::DemoData& demo);
    void failed(const QString& reason);

private:
    void run(const std::string& folder);

    Console& console;
    std::string plugin;
    std::atomic<bool> running = false;
    std::thread thread;
};

} // namespace ombrel::workbench
