#pragma once

#include "base/Console.h"
#include "run/RunSetup.h"

#include <QObject>

#include <atomic>
#include <string>
#include <thread>

namespace ombrel::workbench {

// Runs all frames of the inputs through a chain into an output, on a thread of its own and with filter
// instances of its own: what `ombrel run` would do with these options, down to the record in the output.
class BatchJob final : public QObject {
    Q_OBJECT
public:
    explicit BatchJob(Console& messages) : console(messages) {}
    // Cancels, and waits for the frames on their way.
    ~BatchJob() override;

    // Not while one runs.
    void start(const RunOptions& options);
    // The output keeps the frames that are done, and the same run can resume.
    void cancel() { stopWanted = true; }
    bool isRunning() const { return running; }

signals:
    // From the job's thread.
    void advanced(quint64 done, quint64 of);
    void logged(const QString& line);
    // `isGood`: every frame was corrected. `summary` tells what came of it in one line.
    void finished(bool isGood, const QString& summary);

private:
    void run(const RunOptions& options);

    Console& console;
    std::atomic<bool> stopWanted = false;
    std::atomic<bool> running = false;
    std::thread thread;
};

} // namespace ombrel::workbench
