#pragma once

#include "base/Console.h"
#include "run/RunSetup.h"

#include <QFuture>
#include <QObject>

#include <atomic>
#include <string>

namespace ombrel::workbench {

// Runs all frames of the inputs through a chain into an output, on its own thread and with its own filter
// instances. The result equals that of `ombrel run` with the same options, including the record in the
// output.
class BatchJob final : public QObject {
    Q_OBJECT
public:
    explicit BatchJob(Console& messages) : console(messages) {}
    // Cancels, and waits for the running frames.
    ~BatchJob() override;

    // Must not be called while a run is active.
    void start(const RunOptions& options);
    // The output keeps the finished frames, and the same run can resume.
    void cancel() { stopWanted = true; }
    bool isRunning() const { return running; }

signals:
    // Emitted on the job's thread.
    void advanced(quint64 done, quint64 of);
    void logged(const QString& line);
    // `isGood`: every frame was corrected. `summary` is one line about the result.
    void finished(bool isGood, const QString& summary);

private:
    void run(const RunOptions& options);

    Console& console;
    std::atomic<bool> stopWanted = false;
    std::atomic<bool> running = false;
    QFuture<void> work;
};

} // namespace ombrel::workbench
