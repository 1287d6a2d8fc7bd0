#include "standalone/cli/RunFrames.h"

#include "standalone/BatchRun.h"
#include "standalone/Error.h"
#include "standalone/FrameOutput.h"
#include "standalone/FrameStack.h"
#include "standalone/PreviewImage.h"
#include "standalone/cli/CommandLine.h"
#include "standalone/cli/DryRun.h"
#include "standalone/cli/FrameRange.h"
#include "standalone/cli/Interrupt.h"
#include "standalone/cli/MakeRecord.h"
#include "standalone/cli/OutputGuard.h"
#include "standalone/cli/PreviewFolder.h"
#include "standalone/cli/Progress.h"
#include "standalone/cli/ResumeOutput.h"
#include "standalone/cli/RunReport.h"
#include "standalone/cli/Session.h"
#include "standalone/cli/UsageError.h"
#include "standalone/cli/WorkerChains.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

namespace ombrel::cli {

namespace {

// What can be found wrong without a look at any file.
void checkOptions(const RunOptions& options) {
    checkFrameRange(options.frames);
    if (!FrameOutput::isOutputPath(options.output))
        throw UsageError("-o " + options.output + ": the name must end in .h5, .hdf5, .nxs, .tif or .tiff");
}

// Masked is where the frame is 0.
void applyDeviceMask(Device& device, const std::string& path) {
    const FramePtr mask = FrameFile::open(path)->readFrame(0);
    if (mask->width() != device.width() || mask->height() != device.height())
        throw Error(path + ": the mask has " + std::to_string(mask->width()) + " x " +
                    std::to_string(mask->height()) + " pixels, the frames have " +
                    std::to_string(device.width()) + " x " + std::to_string(device.height()));
    mask->convertToType(zt::DT_DOUBLE);
    std::vector<zt::u8> bytes;
    for (const double pixel : std::as_const(*mask).pixels<double>())
        bytes.push_back(pixel != 0);
    device.pixels().setMask(bytes);
}

BatchListener makeListener(const FrameStack& stack, Console& console, Progress& progress,
                           const PreviewFolder* preview, std::vector<FrameRow>* rows) {
    BatchListener listener;
    listener.frameDone = [&](zt::u64) { progress.advance(); };
    listener.frameRow = [&](zt::u64 frame, const FrameRow& row) {
        if (row.failed)
            console.message(stack.where(frame) + ": " + row.reason);
        if (rows)
            rows->push_back(row);
    };
    if (preview)
        listener.frameCorrected = [=, width = stack.width()](zt::u64 frame, auto raw, auto corrected) {
            preview->write(frame, raw, corrected, width);
        };
    listener.wantsStop = [] { return Interrupt::requested(); };
    return listener;
}

std::string summary(const BatchResult& result, const Progress& progress, const std::string& output) {
    char figures[128];
    std::snprintf(figures, sizeof figures, "%llu frames in %.2f s (%.0f frames/s)",
                  static_cast<unsigned long long>(result.corrected), progress.seconds(),
                  progress.framesPerSecond());
    std::string text = figures;
    if (result.failed != 0)
        text += ", " + std::to_string(result.failed) + " failed";
    return text + (result.hasOutput ? ": " + output : "");
}

// What was asked for, opened and checked.
struct Run {
    const RunOptions& options;
    Console& console;
    FrameStack& stack;
    FrameRange range;
    Session& session;
    WorkerChains& workers;
    std::string record;
    std::optional<OutputState> begun;

    OutputPlan outputPlan() const {
        OutputPlan plan;
        plan.path = options.output;
        plan.pixelType = options.outputType == "f64" ? zt::DT_DOUBLE : zt::DT_FLOAT;
        plan.record = record;
        plan.settingsFiles = settingsFilesOf(options);
        return plan;
    }
};

void report(const Run& run, const std::vector<FrameRow>& rows) {
    const auto mask = run.session.device().pixels().maskBytes();
    writeReport(run.options.report, {run.options.output, run.record, run.range.begin,
                                     static_cast<zt::u64>(std::ranges::count(mask, zt::u8{0})), rows});
}

// Pictures of the frames that an earlier run has done.
void previewEarlierFrames(const Run& run, const PreviewFolder& preview) {
    const auto output = FrameFile::open(run.options.output);
    for (zt::u64 i = 0; i < run.begun->framesDone; ++i) {
        if (run.begun->rows[i].failed)
            continue;
        const FramePtr raw = run.stack.readFrame(run.range.begin + i);
        const FramePtr corrected = output->readFrame(static_cast<zt::u32>(i));
        raw->convertToType(zt::DT_DOUBLE);
        corrected->convertToType(zt::DT_DOUBLE);
        preview.write(run.range.begin + i, raw->pixels<double>(), corrected->pixels<double>(),
                      run.stack.width());
    }
}

int finish(const Run& run, const BatchResult& result, const Progress& progress) {
    Console& console = run.console;
    if (!result.hasOutput && result.failed != 0)
        console.message("every frame failed; there is no output");
    else if (!run.options.quiet)
        console.message(summary(result, progress, run.options.output));
    if (result.stopped)
        console.message("interrupted; the output holds the frames up to here, --resume goes on");
    const bool failedBefore = run.begun && std::ranges::any_of(run.begun->rows, &FrameRow::failed);
    return result.failed == 0 && !failedBefore && !result.stopped ? EXIT_ALL_DONE : EXIT_FAILED;
}

int walk(const Run& run) {
    const RunOptions& options = run.options;
    const auto preview = options.preview.empty() ? nullptr : std::make_unique<PreviewFolder>(options.preview);
    const bool wantsReport = !options.report.empty();
    std::vector<FrameRow> rows; // for the report alone: a long run has many
    const zt::u64 framesDone = run.begun ? run.begun->framesDone : 0;
    if (run.begun) {
        if (wantsReport)
            rows = run.begun->rows;
        if (preview)
            previewEarlierFrames(run, *preview);
        if (run.begun->complete) {
            if (wantsReport)
                report(run, rows);
            run.console.message(options.output + ": is complete; there is nothing to do");
            return EXIT_ALL_DONE;
        }
        run.console.message(options.output + ": going on behind " + std::to_string(framesDone) + " of " +
                            std::to_string(run.range.count()) + " frames");
    }
    const zt::u64 firstToStore = run.range.begin + framesDone;
    if (run.workers.remember && firstToStore > 0)
        run.console.message("passing frames 0 to " + std::to_string(firstToStore - 1) +
                            " through the filters first, since they remember from frame to frame");
    ChoiceLogs* const choices = run.workers.choices.get();
    BatchPlan plan{.stack = run.stack,
                   .workers = run.workers.chains,
                   .begin = run.range.begin,
                   .end = run.range.end,
                   .acqTime = options.acqTime,
                   .mode = options.replace ? ApplyMode::Replace : ApplyMode::Copy,
                   .output = run.outputPlan(),
                   .begun = run.begun,
                   .remembers = run.workers.remember,
                   .choice = {}};
    if (choices)
        plan.choice = [=](std::size_t worker, zt::u64 frame) { return choices->read(worker, frame); };
    const Interrupt interrupt;
    Progress progress(run.console, run.range.count() - framesDone, options.quiet);
    const BatchResult result = runBatch(
        plan, makeListener(run.stack, run.console, progress, preview.get(), wantsReport ? &rows : nullptr));
    if (choices)
        choices->copyToUserFile();
    if (wantsReport)
        report(run, rows);
    return finish(run, result, progress);
}

} // namespace

int runFrames(const RunOptions& options, Console& console) {
    checkOptions(options);
    if (!options.log.empty())
        console.openLog(options.log);

    FrameStack stack(options.inputs, FrameRole::Sample);
    const FrameRange range = parseFrameRange(options.frames, stack.frameCount());
    checkOutputPath(options.output, options.force || options.resume, options.inputs);
    if (!options.report.empty())
        checkOutputPath(options.report, options.force || options.resume, options.inputs);

    Session session(console, options.plugin, {options.deviceType, stack.width(), stack.height()});
    if (!options.deviceMask.empty())
        applyDeviceMask(session.device(), options.deviceMask);
    WorkerChains workers = makeWorkerChains(session, options, range.count(), console);
    const RunRecord record = makeRecord(options, range, session.pluginPath(), workers.chains[0]);
    Run run{options, console, stack, range, session, workers, record.toJson(), {}};
    if (options.resume)
        run.begun = outputToResume(options.output, record);
    if (run.begun)
        completeRows(*run.begun, stack, range.begin);
    return options.dryRun ? dryRun(run.stack, run.range, run.workers, options, console) : walk(run);
}

} // namespace ombrel::cli
