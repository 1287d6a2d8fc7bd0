#include "cli/ReplayCommand.h"

#include "base/AtomicFile.h"
#include "base/CommandOptions.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/TrialFolder.h"
#include "cli/CommandLine.h"
#include "cli/RunCommand.h"
#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"
#include "run/RunPaths.h"
#include "run/RunSigma.h"
#include "stack/MergedParts.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace ombrel::cli {

namespace {

namespace fs = std::filesystem;

RunRecord recordOf(const std::string& path, const OutputState& state) {
    try {
        return RunRecord::fromJson(state.plan.record);
    } catch (const Error& error) {
        throw Error(path + ": " + error.what());
    }
}

// Files that the run read and whose contents the output does not store must be unchanged.
void checkUnchanged(const RunRecord& record) {
    std::string changes;
    const auto check = [&](const FileRecord& before) {
        std::string change;
        try {
            change = FileRecord::of(before.path, !before.hash.empty()).changeSince(before);
        } catch (const Error& error) {
            changes += (changes.empty() ? "" : "; ") + std::string(error.what());
            return;
        }
        if (!change.empty())
            changes += (changes.empty() ? "" : "; ") + before.path + ": " + change;
    };
    for (const LinkRecord& link : record.chain)
        std::ranges::for_each(link.files, check);
    std::ranges::for_each(record.paramFiles, check);
    std::ranges::for_each(record.inputs, check);
    std::ranges::for_each(record.darkFiles, check);
    if (record.deviceMask)
        check(*record.deviceMask);
    if (!changes.empty())
        throw Error("the run cannot be repeated, since files have changed: " + changes);
}

// The run's options, with the recorded settings in files of `folder`.
RunOptions optionsOf(const RunRecord& record, const ReplayOptions& replayOptions, const TrialFolder& folder) {
    RunOptions options;
    std::size_t stored = 0;
    for (const LinkRecord& link : record.chain) {
        std::string contents;
        if (link.settings) {
            const std::string bytes = FrameOutput::settingsIn(replayOptions.recorded, stored);
            if (bytes.empty())
                throw Error(replayOptions.recorded + ": does not contain the settings of " + link.filter);
            contents = folder / (std::to_string(stored++) + ".xml");
            replaceFile(contents, bytes);
        }
        options.links.push_back({link.filter, link.settings ? link.settings->path : "", contents});
    }
    for (std::size_t i = 0; i < record.inputs.size(); ++i)
        options.inputs.push_back(record.inputs[i].path +
                                 (record.datasets[i].empty() ? "" : "::" + record.datasets[i]));
    options.params = record.params;
    options.discardLogs = true;
    options.output = replayOptions.output;
    options.outputType = record.outputType;
    options.scale = record.scale;
    options.frames = std::to_string(record.begin) + ":" + std::to_string(record.end);
    options.acqTime = record.acqTime;
    options.sigma = sigmaOf(record);
    options.quantity = {record.quantity, record.levelRegion};
    options.dark = record.dark;
    options.replace = record.replace;
    options.deviceType = record.deviceType;
    options.marks = {record.marks, record.keepNan};
    options.mask.convention = record.maskConvention;
    options.mask.source = "none";
    if (record.deviceMask)
        options.mask.source =
            record.deviceMask->path + (record.maskDataset.empty() ? "" : "::" + record.maskDataset);
    options.jobs = replayOptions.jobs;
    options.force = replayOptions.force;
    options.quiet = replayOptions.quiet;
    options.log = replayOptions.log;
    options.plugin = replayOptions.plugin;
    return options;
}

// The kind of difference; empty if the frame is the same.
std::string difference(const FrameRow& now, const FrameRow& before) {
    if (now.inputHash != before.inputHash)
        return "the pixels of the input differ";
    if (now.failed != before.failed)
        return now.failed ? "it failed now: " + now.reason : "it failed before: " + before.reason;
    return now.outputHash != before.outputHash ? "the corrected pixels differ" : "";
}

// The hash of the pixels as stored. Packing values that were read gives the stored numbers again.
zt::u64 storedHash(const Frame& read, const std::optional<PixelPacking>& packing) {
    if (!packing)
        return pixelHash(read.bytes());
    const std::vector<double> values = doublesOf(read);
    std::vector<zt::u16> stored(values.size());
    PixelPacking unlimited = *packing;
    unlimited.least = -std::numeric_limits<double>::infinity();
    unlimited.greatest = std::numeric_limits<double>::infinity();
    unlimited.pack(values, stored);
    return pixelHash(std::as_bytes(std::span(stored)));
}

// Reports pixels of the output that have changed since they were stored; empty if none has.
std::string damage(FrameFile& output, zt::u32 frame, const FrameRow& row,
                   const std::optional<PixelPacking>& packing) {
    if (row.failed)
        return {};
    const FramePtr read = output.readFrame(frame);
    return storedHash(*read, packing) == row.outputHash ? "" : "its stored pixels have changed";
}

int compare(const OutputState& before, const ReplayOptions& options, Console& console) {
    const auto now = FrameOutput::stateOf(options.output);
    if (!now)
        return EXIT_FAILED; // every frame failed, as already reported
    const auto stored = FrameFile::open(options.recorded);
    const std::size_t frames = std::min(before.rows.size(), now->rows.size());
    for (std::size_t i = 0; i < frames; ++i) {
        std::string text = difference(now->rows[i], before.rows[i]);
        if (text.empty())
            text = damage(*stored, static_cast<zt::u32>(i), before.rows[i], before.plan.packing);
        if (text.empty())
            continue;
        console.message(options.recorded + ", frame " + std::to_string(i) +
                        " is the first that differs: " + text);
        return EXIT_FAILED;
    }
    console.message(options.recorded + " and " + options.output + ": " + countText(frames, "frame") +
                    (frames == 1 ? " is the same" : " are the same") +
                    (before.complete ? "" : "; the earlier run is incomplete"));
    return EXIT_ALL_DONE;
}

void addFiles(CommandPaths& paths, const RunRecord& record, const fs::path& recordedFolder) {
    for (const FileRecord& input : record.inputs)
        addInput(paths, input.path, NamedBy::File);
    for (const LinkRecord& link : record.chain) {
        if (link.settings)
            paths.reads(link.settings->path, "the settings of " + link.filter, NamedBy::File);
        for (const FileRecord& file : link.files)
            paths.reads(file.path, "a calibration file of " + link.filter, NamedBy::File);
    }
    for (const FileRecord& file : record.paramFiles)
        paths.reads(file.path, "a file of a parameter", NamedBy::File);
    for (const FileRecord& file : record.darkFiles)
        paths.reads(file.path, "the dark frames", NamedBy::File);
    if (record.deviceMask)
        addFrames(paths, record.deviceMask->path, "the device mask", NamedBy::File);
    for (const PartRecord& part : record.parts)
        paths.reads((recordedFolder / part.path).string(), "a part", NamedBy::File);
}

void checkPaths(const RunRecord& record, const ReplayOptions& options, Console& console) {
    CommandPaths paths;
    addInput(paths, options.recorded);
    addFiles(paths, record, fs::path(options.recorded).parent_path());
    addPlugin(paths, options.plugin);
    addOutput(paths, options.output, options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console, options.log);
}

// Names the record in place of the temporary files that hold its settings.
std::string inRecord(std::string text, const std::string& recorded, const RunOptions& options) {
    for (const LinkOptions& link : options.links)
        if (const auto place = text.find(link.contents); !link.contents.empty() && place != std::string::npos)
            text.replace(place, link.contents.size(), recorded + ", settings of " + link.name);
    return text;
}

// A wrong path in a record is not a mistake in the command line.
int correctRecorded(const std::string& recorded, const RunOptions& options, Console& console) {
    try {
        return correctFrames(options, console);
    } catch (const UsageError& error) {
        throw Error(recorded + ": its record does not match: " + inRecord(error.what(), recorded, options));
    } catch (const Error& error) {
        throw Error(inRecord(error.what(), recorded, options));
    }
}

} // namespace

int replay(const ReplayOptions& options, Console& console) {
    checkOutputName(options.output);
    const auto before = FrameOutput::stateOf(options.recorded);
    if (!before)
        throw Error(options.recorded + ": does not exist");
    const RunRecord record = recordOf(options.recorded, *before);
    checkPaths(record, options, console);
    checkParts(options.recorded, record);
    checkUnchanged(record);
    if (record.version != OMBREL_VERSION)
        console.message("written by version " + record.version + ", replayed by " OMBREL_VERSION);
    const TrialFolder folder = TrialFolder::inTemporary();
    const RunOptions runOptions = optionsOf(record, options, folder);
    const int ran = correctRecorded(options.recorded, runOptions, console);
    const bool failedBefore = std::ranges::any_of(before->rows, &FrameRow::failed);
    if (ran != EXIT_ALL_DONE && !failedBefore)
        return ran;
    return compare(*before, options, console);
}

void addReplayCommand(const CommandContext& context) {
    auto options = std::make_shared<ReplayOptions>();
    CLI::App* command = context.program.add_subcommand(
        "replay", "Repeat the run that an output records, and compare the results");
    command->add_option("OUTPUT", options->recorded, "An output of ombrel run")
        ->required()
        ->type_name("FILE");
    command->add_option("-o,--output", options->output, "The new output: .h5, .hdf5, .nxs, .tif or .tiff")
        ->required()
        ->type_name("FILE");
    addJobsOption(*command, options->jobs);
    command->add_flag("--force", options->force, "Replace an output that exists");
    addLogOption(*command, options->log);
    addPluginOption(*command, options->plugin);
    command->add_flag("-q,--quiet", options->quiet, "No progress and no summary");
    command->footer("Example:\n"
                    "  ombrel replay corrected.h5 -o again.h5");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = replay(*options, console);
    });
}

} // namespace ombrel::cli
