#include "workbench/BatchJob.h"

#include "standalone/BatchRun.h"
#include "standalone/FrameStack.h"
#include "standalone/cli/FrameRange.h"
#include "standalone/cli/MakeRecord.h"
#include "standalone/cli/OutputGuard.h"
#include "standalone/cli/ResumeOutput.h"
#include "standalone/cli/Session.h"
#include "standalone/cli/WorkerChains.h"

#include <exception>

namespace ombrel::workbench {

namespace {

struct Outcome {
    zt::u64 done = 0;
    zt::u64 of = 0;
    zt::u64 failed = 0;
    bool isStopped = false;
    bool hasOutput = true;
};

// The plan's output is filled but for what the walk finds out.
OutputPlan outputPlan(const cli::RunOptions& options, const RunRecord& record) {
    OutputPlan plan;
    plan.path = options.output;
    plan.pixelType = options.outputType == "f64" ? zt::DT_DOUBLE : zt::DT_FLOAT;
    plan.record = record.toJson();
    plan.settingsFiles = cli::settingsFilesOf(options);
    return plan;
}

Outcome correctAll(const cli::RunOptions& options, cli::Console& console, BatchListener listener,
                   const std::function<void(quint64, quint64)>& advanced) {
    FrameStack stack(options.inputs, FrameRole::Sample);
    const cli::FrameRange range = cli::parseFrameRange(options.frames, stack.frameCount());
    cli::checkOutputPath(options.output, options.force || options.resume, options.inputs);
    cli::Session session(console, options.plugin, {options.deviceType, stack.width(), stack.height()});
    cli::WorkerChains workers = cli::makeWorkerChains(session, options, range.count(), console);
    const RunRecord record = cli::makeRecord(options, range, session.pluginPath(), workers.chains[0]);
    BatchPlan plan{.stack = stack,
                   .workers = workers.chains,
                   .begin = range.begin,
                   .end = range.end,
                   .acqTime = options.acqTime,
                   .mode = ApplyMode::Copy,
                   .output = outputPlan(options, record),
                   .begun = {},
                   .remembers = workers.remember,
                   .choice = {}};
    if (options.resume)
        plan.begun = cli::outputToResume(options.output, record);
    Outcome outcome;
    outcome.of = range.count();
    if (plan.begun) {
        completeRows(*plan.begun, stack, range.begin);
        outcome.done = plan.begun->framesDone;
        outcome.failed = static_cast<zt::u64>(std::ranges::count_if(plan.begun->rows, &FrameRow::failed));
    }
    advanced(outcome.done, outcome.of);
    if (plan.begun && plan.begun->complete)
        return outcome;
    if (workers.choices)
        plan.choice = [&](std::size_t worker, zt::u64 frame) { return workers.choices->read(worker, frame); };
    listener.frameDone = [&](zt::u64) { advanced(++outcome.done, outcome.of); };
    const BatchResult result = runBatch(plan, listener);
    if (workers.choices)
        workers.choices->copyToUserFile();
    outcome.failed += result.failed;
    outcome.isStopped = result.stopped;
    outcome.hasOutput = result.hasOutput;
    return outcome;
}

QString summaryOf(const Outcome& outcome, const std::string& output) {
    if (!outcome.hasOutput && outcome.failed != 0)
        return "Every frame failed; there is no output.";
    QString text = QString("%1 of %2 frames done").arg(outcome.done).arg(outcome.of);
    if (outcome.failed != 0)
        text += QString(", %1 of them failed").arg(outcome.failed);
    if (outcome.isStopped)
        text += "; cancelled, \u201cGo on\u201d continues";
    return text + ": " + QString::fromStdString(output);
}

} // namespace

BatchJob::~BatchJob() {
    cancel();
    if (thread.joinable())
        thread.join();
}

void BatchJob::start(const cli::RunOptions& options) {
    if (thread.joinable())
        thread.join();
    stopWanted = false;
    running = true;
    thread = std::thread([this, options] { run(options); });
}

void BatchJob::run(const cli::RunOptions& options) {
    BatchListener listener;
    listener.frameRow = [this](zt::u64 frame, const FrameRow& row) {
        if (row.failed)
            emit logged(QString("Batch, frame %1: %2").arg(frame).arg(QString::fromStdString(row.reason)));
    };
    listener.wantsStop = [this] { return stopWanted.load(); };
    bool isGood = false;
    QString summary;
    try {
        const Outcome outcome = correctAll(options, console, listener,
                                           [this](quint64 done, quint64 of) { emit advanced(done, of); });
        isGood = outcome.hasOutput && outcome.failed == 0 && !outcome.isStopped;
        summary = summaryOf(outcome, options.output);
    } catch (const std::exception& error) {
        summary = error.what();
    }
    running = false;
    emit finished(isGood, summary);
}

} // namespace ombrel::workbench
