#include "worker/DemoJob.h"

#include <exception>

namespace ombrel::workbench {

DemoJob::~DemoJob() {
    if (thread.joinable())
        thread.join();
}

void DemoJob::start(const std::string& folder) {
    if (running)
        return;
    if (thread.joinable())
        thread.join();
    running = true;
    emit advanced(0, 1);
    thread = std::thread([this, folder] { run(folder); });
}

void DemoJob::run(const std::string& folder) {
    try {
        const DemoData demo =
            prepareDemoData(folder, plugin, console, [this](int done, int of) { emit advanced(done, of); });
        running = false;
        emit made(demo);
    } catch (const std::exception& error) {
        running = false;
        emit failed(error.what());
    }
}

} // namespace ombrel::workbench
