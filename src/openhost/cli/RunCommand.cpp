#include "cli/RunCommand.h"

#include "base/AtomicFile.h"
#include "base/CommandOptions.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "cli/CommandLine.h"
#include "frame/FrameOutput.h"
#include "frame/FrameRange.h"
#include "frame/FrameRow.h"
#include "frame/PreviewImage.h"
#include "run/RunNotes.h"
#include "run/RunPaths.h"
#include "run/RunSetup.h"
#include "run/RunSigma.h"

#include <CLI/CLI.hpp>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace ombrel::cli {

void writeReport(const std::string& path, const RunReport& report) {
    QJsonArray frames;
    qint64 failed = 0;
    for (std::size_t i = 0; i < report.rows.size(); ++i) {
        QJsonObject frame = toJson(report.rows[i]);
        frame.insert("frame", static_cast<qint64>(report.begin + i));
        frames.append(frame);
        failed += report.rows[i].failed;
    }
    QJsonArray remarks;
    for (const RunNotes::Kind& kind : report.kinds) {
        QJsonArray numbers;
        for (const zt::u64 frame : kind.frames)
            numbers.append(static_cast<qint64>(frame));
        remarks.append(QJsonObject{{"kind", QString::fromStdString(kind.name)}, {"frames", numbers}});
    }
    const QJsonObject json{
        {"output", QString::fromStdString(report.output)},
        {"record", QJsonDocument::fromJson(QByteArray::fromStdString(report.record)).object()},
        {"masked_pixels", static_cast<qint64>(report.maskedPixels)},
        {"corrected", static_cast<qint64>(report.rows.size()) - failed},
        {"failed", failed},
        {"remarks", remarks},
        {"frames", frames},
    };
    writeJsonFile(path, json);
}

namespace {

// Corrects one frame. Throws Error with the reason if it failed.
FramePtr firstCorrected(RunSetup& run) {
    const RunOptions& options = run.options;
    FramePtr frame = run.stack.readFrame(run.range.begin);
    if (options.acqTime)
        frame->setAcqTime(*options.acqTime);
    if (run.dark)
        frame->subtract(run.dark->mean);
    FrameResult result =
        run.workers.chains[0].apply(std::move(frame), options.replace ? ApplyMode::Replace : ApplyMode::Copy);
    if (!result)
        throw Error(run.stack.where(run.range.begin) + ": " + result.failure);
    return std::move(result.frame);
}

void checkRoom(const std::string& output, zt::u64 bytes) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::absolute(output).parent_path();
    std::error_code failure;
    const fs::space_info space = fs::space(folder, failure);
    if (failure)
        throw Error(output + ": cannot be written: " + failure.message());
    if (space.available < bytes)
        throw Error(output + ": no room on the disk for its " + countText(bytes, "byte") +
                    "; available: " + std::to_string(space.available));
}

} // namespace

int dryRun(RunSetup& run, Console& console) {
    const RunOptions& options = run.options;
    const FramePtr first = firstCorrected(run);
    const zt::u64 pixelBytes = packingOf(options)            ? sizeof(zt::u16)
                               : options.outputType == "f64" ? sizeof(double)
                                                             : sizeof(float);
    const zt::u64 planeBytes = planesOf(options.sigma).size() * sizeof(float);
    const zt::u64 bytes = run.range.count() * first->size() * (pixelBytes + planeBytes);
    checkRoom(options.output, bytes);
    console.message("would correct " + countText(run.range.count(), "frame") + " of " +
                    sizeText(run.stack.width(), run.stack.height()) + " with " +
                    std::to_string(run.workers.chains.size()) + " at once, and write " +
                    sizeText(first->width(), first->height()) + " " + options.outputType + ", " +
                    countText(bytes, "byte") + ": " + options.output);
    return EXIT_ALL_DONE;
}

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
    RunNotes notes(run.stack); // of all runs of this output
    for (std::size_t i = 0; i < rows.size(); ++i)
        notes.add(run.range.begin + i, rows[i]);
    writeReport(run.options.report,
                {run.options.output, run.record.toJson(), run.range.begin,
                 static_cast<zt::u64>(std::ranges::count(mask, zt::u8{0})), rows, notes.kinds()});
}

// Writes the pictures of the frames that earlier runs have done.
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
        console.message("every frame failed; no output was written");
    else if (!run.options.quiet)
        console.message(summary(result, progress, run.options.output));
    if (result.stopped)
        console.message(result.hasOutput ? "interrupted; --resume continues after the frames in the output"
                                         : "interrupted before the first frame; no output was written");
    const std::string loss = run.workers.choices ? run.workers.choices->loss() : "";
    if (!loss.empty())
        console.message(loss);
    if (run.workers.choices)
        console.warning(run.workers.choices->drift());
    const bool failedBefore = run.begun && std::ranges::any_of(run.begun->rows, &FrameRow::failed);
    return result.failed == 0 && !failedBefore && !result.stopped && loss.empty() ? EXIT_ALL_DONE
                                                                                  : EXIT_FAILED;
}

// Messages before the first frame is corrected.
void announce(const RunSetup& run, zt::u64 framesDone, Console& console) {
    if (run.begun)
        console.message(run.options.output + ": resuming after " + std::to_string(framesDone) + " of " +
                        countText(run.range.count(), "frame"));
    const zt::u64 firstToStore = run.range.begin + framesDone;
    if (run.workers.remember && firstToStore > 0)
        console.message("replaying frames 0 to " + std::to_string(firstToStore - 1) +
                        " first: the filters carry state from frame to frame");
}

int walk(RunSetup& run, Console& console) {
    const RunOptions& options = run.options;
    const auto preview = options.preview.empty() ? nullptr : std::make_unique<PreviewFolder>(options.preview);
    const bool wantsReport = !options.report.empty();
    std::vector<FrameRow> rows; // collected only for the report: a long run has many
    const zt::u64 framesDone = run.begun ? run.begun->framesDone : 0;
    if (run.begun) {
        if (wantsReport)
            rows = run.begun->rows;
        if (preview)
            previewEarlierFrames(run, *preview);
        if (run.begun->complete) {
            if (wantsReport)
                report(run, rows);
            console.message(options.output + ": is already complete; nothing to do");
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
    packingOf(options);
    pathsOf(options).check(console, options.log);
    return correctFrames(options, console);
}

int correctFrames(const RunOptions& options, Console& console) {
    RunSetup run(options, console);
    console.warning(run.stack.passedOver());
    for (const std::string& line : warningsOn(run))
        console.message(line);
    console.warning(saturationNote(run.stack, run.range.begin, options.marks));
    return options.dryRun ? dryRun(run, console) : walk(run, console);
}

CLI::Option* addInputOption(CLI::App& command, RunOptions& options) {
    return command
        .add_option("INPUT", options.inputs,
                    "Frame files, folders of them, or patterns in quotes; of an HDF5 file one dataset by "
                    "FILE::/path/of/dataset")
        ->type_name("FILE");
}

CLI::Option* addFilterOption(CLI::App& command, RunOptions& options) {
    return command
        .add_option_function<std::vector<std::string>>(
            "-f,--filter",
            [&options](const std::vector<std::string>& texts) {
                std::ranges::transform(texts, std::back_inserter(options.links), LinkOptions::parse);
            },
            "A filter, with its settings; repeat it for a chain")
        ->allow_extra_args(false)
        ->type_name("NAME[=SETTINGS.xml]");
}

void addCorrectionOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option("-p,--param", options.params, "Set a parameter after all settings are loaded; repeatable")
        ->allow_extra_args(false)
        ->type_name("FILTER:PARAM=VALUE");
    command.add_option("--output-type", options.outputType, "Pixels of the output")
        ->check(CLI::IsMember({"f32", "f64", "u16", "f16"}).description(""))
        ->type_name("f32|f64|u16|f16")
        ->capture_default_str();
    command
        .add_option("--scale", options.scale,
                    "With u16 or f16: the values from LO to HI are stored; others are clipped and counted")
        ->delimiter(',')
        ->type_name("LO,HI");
    command
        .add_option("--quantity", options.quantity.quantity,
                    "What the output holds: counts; their part of the open beam; or its negative logarithm")
        ->check(CLI::IsMember({"counts", "transmission", "attenuation"}).description(""))
        ->type_name("counts|transmission|attenuation")
        ->capture_default_str();
    command
        .add_option("--level-region", options.quantity.levelRegion,
                    "Divide each frame by its own mean in this open region of the output")
        ->type_name("X,Y,W,H");
    command.add_option("--frames", options.frames, "Frames A to B-1, counted through all inputs")
        ->type_name("A:B");
    command.add_option("--acq-time", options.acqTime, "Acquisition time of every frame")
        ->check(numberAboveZero())
        ->type_name("SECONDS");
    command.add_flag("--replace", options.replace, "Correct in place instead of asking for a copy");
}

void addDeviceOptions(CLI::App& command, RunOptions& options) {
    command.add_option("--device-type", options.deviceType, "Type of the device that the filters see")
        ->check(wholeNumber<int>())
        ->type_name("N")
        ->capture_default_str();
    addDarkOption(
        command, options.dark,
        "What is subtracted from each frame before the chain: the dark that the calibrations carry, "
        "nothing, or the mean of the dark frames of a file");
    addMaskOptions(command, options.mask);
    command
        .add_option("--marks", options.marks.marks,
                    "Values that mark pixels of single frames, which are filled before the chain: those of "
                    "counting detectors, none, the greatest of the type, or negative ones")
        ->check(CLI::IsMember({"auto", "none", "top", "negative"}).description(""))
        ->type_name("auto|none|top|negative")
        ->capture_default_str();
    command.add_flag("--keep-nan", options.marks.keepNan, "Write marked pixels as NaN");
}

void addSigmaOptions(CLI::App& command, SigmaOptions& options) {
    command.add_flag("--sigma", options.isWanted,
                     "Write the standard deviation of each pixel, /exchange/data_sigma");
    command.add_flag_callback(
        "--sigma-calibration", [&options] { options.isWanted = options.calibrationPart = true; },
        "The same, and the part of it that all frames share, /exchange/data_sigma_calibration");
    command
        .add_option("--gain", options.gain,
                    "Counts a photon, for --sigma; without it as the calibration measured, else 1")
        ->check(numberAboveZero())
        ->type_name("COUNTS");
}

namespace {

// Options of the run and its reports.
void addRunOptions(CLI::App& command, RunOptions& options) {
    CLI::Option* force =
        command.add_flag("--force", options.force, "Replace an output, a report or previews that exist");
    command.add_flag("--resume", options.resume, "Resume an incomplete output")->excludes(force);
    command.add_flag("--dry-run", options.dryRun, "Check everything, and change nothing");
    addJobsOption(command, options.jobs, "; the output is the same for every number");
    addDeviceOptions(command, options);
    command.add_flag("--no-choice", options.noChoice,
                     "Do not record which grid point AdaptiveFF chose for each frame");
    addSigmaOptions(command, options.sigma);
    command.add_option("--report", options.report, "Write figures of each frame as JSON")
        ->type_name("FILE.json");
    command.add_option("--preview", options.preview, "Pictures of each frame, raw next to corrected")
        ->type_name("DIR");
    addLogOption(command, options.log);
    addPluginOption(command, options.plugin);
    command.add_flag("-q,--quiet", options.quiet, "No progress and no summary");
}

} // namespace

void addRunCommand(const CommandContext& context) {
    auto options = std::make_shared<RunOptions>();
    CLI::App* command = context.program.add_subcommand("run", "Pass frames through a chain of filters");
    addInputOption(*command, *options)->required();
    command->add_option("-o,--output", options->output, "Output: .h5, .hdf5, .nxs, .tif or .tiff")
        ->required()
        ->type_name("FILE");
    addFilterOption(*command, *options)->required();
    addCorrectionOptions(*command, *options);
    addRunOptions(*command, *options);
    command->footer(
        "Examples:\n"
        "  ombrel run -f \"Binning 2x2\" frames.h5 -o binned.h5\n"
        "  ombrel run -f \"Binning 2x2\" --frames 0:10 --output-type f64 a.tif b.tif -o binned.tif\n"
        "  ombrel run -f Flat-Field=ff.xml -j 4 --resume frames.h5 -o corrected.h5");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = runFrames(*options, console);
    });
}

} // namespace ombrel::cli
