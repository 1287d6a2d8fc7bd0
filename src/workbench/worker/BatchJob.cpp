#include "worker/BatchJob.h"

#include "base/Numbers.h"
#include "run/RunPaths.h"
#include "run/RunSetup.h"

#include <QElapsedTimer>
#include <QtConcurrent>

#include <algorithm>
#include <exception>

namespace ombrel::workbench {

namespace {

constexpr qint64 tellMilliseconds = 50; // updates for every frame would block the window

struct Outcome {
    zt::u64 done = 0;
    zt::u64 of = 0;
    zt::u64 failed = 0;
    bool isStopped = false;
    bool hasOutput = true;
    std::string loss; // why choices of grid points are missing
};

Outcome correctAll(const RunOptions& options, Console& console, BatchListener listener,
                   const std::function<void(quint64, quint64)>& advanced) {
    pathsOf(options).check(console);
    RunSetup setup(options, console);
    Outcome outcome;
    outcome.of = setup.range.count();
    if (setup.begun) {
        outcome.done = setup.begun->framesDone;
        outcome.failed = static_cast<zt::u64>(std::ranges::count_if(setup.begun->rows, &FrameRow::failed));
    }
    advanced(outcome.done, outcome.of);
    if (setup.begun && setup.begun->complete)
        return outcome;
    listener.frameDone = [&](zt::u64) { advanced(++outcome.done, outcome.of); };
    const BatchResult result = setup.run(listener);
    outcome.failed += result.failed;
    outcome.isStopped = result.stopped;
    outcome.hasOutput = result.hasOutput;
    if (setup.workers.choices)
        outcome.loss = setup.workers.choices->loss();
    return outcome;
}

QString summaryOf(const Outcome& outcome, const std::string& output) {
    if (!outcome.hasOutput && outcome.failed != 0)
        return "Every frame failed; no output was written.";
    QString text = QString("%1 of %2 done")
                       .arg(outcome.done)
                       .arg(QString::fromStdString(countText(outcome.of, "frame")));
    if (outcome.failed != 0)
        text += QString(", %1 of them failed").arg(outcome.failed);
    if (outcome.isStopped)
        text += "; cancelled, and can be resumed";
    if (!outcome.loss.empty())
        text += "; " + QString::fromStdString(outcome.loss);
    return text + ": " + QString::fromStdString(output);
}

} // namespace

BatchJob::~BatchJob() {
    cancel();
    work.waitForFinished();
}

void BatchJob::start(const RunOptions& options) {
    work.waitForFinished(); // the end of its last signal
    stopWanted = false;
    running = true;
    work = QtConcurrent::run([this, options] { run(options); });
}

void BatchJob::run(const RunOptions& options) {
    BatchListener listener;
    listener.frameRow = [this](zt::u64 frame, const FrameRow& row) {
        if (row.failed)
            emit logged(QString("Batch, frame %1: %2").arg(frame).arg(QString::fromStdString(row.reason)));
    };
    listener.wantsStop = [this] { return stopWanted.load(); };
    QElapsedTimer sinceTold;
    const auto tell = [&](quint64 done, quint64 of) {
        if (done != of && sinceTold.isValid() && sinceTold.elapsed() < tellMilliseconds)
            return;
        sinceTold.start();
        emit advanced(done, of);
    };
    bool isGood = false;
    QString summary;
    try {
        const Outcome outcome = correctAll(options, console, listener, tell);
        isGood = outcome.hasOutput && outcome.failed == 0 && !outcome.isStopped && outcome.loss.empty();
        summary = summaryOf(outcome, options.output);
    } catch (const std::exception& error) {
        summary = error.what();
    }
    running = false;
    emit finished(isGood, summary);
}

} // namespace ombrel::workbench
