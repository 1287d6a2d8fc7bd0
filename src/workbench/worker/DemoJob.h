#pragma once

#include "worker/DemoData.h"

#include <QObject>

#include <atomic>
#include <string>
#include <thread>

namespace ombrel::workbench {

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
