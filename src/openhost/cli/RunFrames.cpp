#include "cli/RunFrames.h"

#include "base/Error.h"
#include "base/Interrupt.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "base/SizeText.h"
#include "cli/CommandLine.h"
#include "cli/DryRun.h"
#include "cli/RunReport.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRange.h"
#include "frame/PreviewFolder.h"
#include "frame/PreviewImage.h"
#include "run/RunNotes.h"
#include "run/RunPaths.h"
#include "run/RunSetup.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace ombrel::cli {

namespace {

BatchListener makeListener(const FrameStack& stack, RunNotes& notes, Progress& progress,
                           const PreviewFolder* preview, std::vector<FrameRow>* rows) {
    BatchListener listener;
    listener.frameDone = [&progress](zt::u64) { progress.advance(); };
    listener.frameRow = [&notes, rows](zt::u64 frame, const FrameRow& row) {
        notes.add(frame, row);
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
    std::snprintf(figures, sizeof figures, " in %.2f s (%.0f frames/s)", progress.seconds(),
                  progress.framesPerSecond());
    std::string text = countText(result.corrected, "frame") + figures;
    if (result.failed != 0)
        text += ", " + std::to_string(result.failed) + " failed";
    return text + (result.hasOutput ? ": " + output : "");
}

void report(RunSetup& run, const std::vector<FrameRow>& rows) {
    const auto mask = run.session.device().pixels().maskBytes();
    RunNotes notes(run.stack); // of earlier runs' frames, too
    for (std::size_t i = 0; i < rows.size(); ++i)
        notes.add(run.range.begin + i, rows[i]);
    writeReport(run.options.report,
                {run.options.output, run.record.toJson(), run.range.begin,
                 static_cast<zt::u64>(std::ranges::count(mask, zt::u8{0})), rows, notes.kinds()});
}

// Pictures of the frames that an earlier run has done.
void previewEarlierFrames(RunSetup& run, const PreviewFolder& preview) {
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

int finish(const RunSetup& run, const BatchResult& result, const Progress& progress, Console& console) {
    if (!result.hasOutput && result.failed != 0)
        console.message("every frame failed; there is no output");
    else if (!run.options.quiet)
        console.message(summary(result, progress, run.options.output));
    if (result.stopped)
        console.message(result.hasOutput ? "interrupted; --resume continues after the frames in the output"
                                         : "interrupted before the first frame; there is no output");
    const std::string loss = run.workers.choices ? run.workers.choices->loss() : "";
    if (!loss.empty())
        console.message(loss);
    const bool failedBefore = run.begun && std::ranges::any_of(run.begun->rows, &FrameRow::failed);
    return result.failed == 0 && !failedBefore && !result.stopped && loss.empty() ? EXIT_ALL_DONE
                                                                                  : EXIT_FAILED;
}

// What is told before frames are corrected.
void announce(const RunSetup& run, zt::u64 framesDone, Console& console) {
    if (run.begun)
        console.message(run.options.output + ": resuming after " + std::to_string(framesDone) + " of " +
                        countText(run.range.count(), "frame"));
    const zt::u64 firstToStore = run.range.begin + framesDone;
    if (run.workers.remember && firstToStore > 0)
        console.message("passing frames 0 to " + std::to_string(firstToStore - 1) +
                        " through the filters first, since they remember from frame to frame");
}

int walk(RunSetup& run, Console& console) {
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
            console.message(options.output + ": is complete; there is nothing to do");
            return EXIT_ALL_DONE;
        }
    }
    announce(run, framesDone, console);
    const Interrupt interrupt;
    Progress progress(console, run.range.count() - framesDone, options.quiet);
    RunNotes notes(run.stack);
    const auto showNotes = [&] {
        for (const std::string& line : notes.failures())
            console.message(line);
        for (const std::string& line : notes.remarks())
            console.message(line);
    };
    BatchResult result;
    try {
        result =
            run.run(makeListener(run.stack, notes, progress, preview.get(), wantsReport ? &rows : nullptr));
    } catch (...) {
        showNotes();
        throw;
    }
    showNotes();
    if (wantsReport)
        report(run, rows);
    return finish(run, result, progress, console);
}

} // namespace

void checkOutputName(const std::string& output) {
    if (!FrameOutput::isOutputPath(output))
        throw UsageError("-o " + output + ": the name must end in .h5, .hdf5, .nxs, .tif or .tiff");
}

int runFrames(const RunOptions& options, Console& console) {
    checkFrameRange(options.frames);
    checkOutputName(options.output);
    pathsOf(options).check(console, options.log);
    return correctFrames(options, console);
}

int correctFrames(const RunOptions& options, Console& console) {
    RunSetup run(options, console);
    console.warning(run.stack.unusedDarks());
    for (const std::string& line : warningsOn(run.workers.chains[0], run.stack.pixelType(run.range.begin)))
        console.message(line);
    return options.dryRun ? dryRun(run.stack, run.range, run.workers, options, console) : walk(run, console);
}

} // namespace ombrel::cli
