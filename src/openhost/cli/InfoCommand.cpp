#include "base/CommandOptions.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "cli/CommandLine.h"
#include "frame/PreviewImage.h"
#include "frame/Statistics.h"
#include "inspection/InspectionReport.h"
#include "run/RunPaths.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"
#include "stack/FileReport.h"
#include "stack/MergedParts.h"

#include <CLI/CLI.hpp>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::cli {

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    std::vector<zt::u32> region; // x, y, width, height
    std::string raw;
    std::string mask;
    bool eachFrame = false;
    bool range = false;
    std::string picture;
    bool force = false;
};

Region regionOf(const std::vector<zt::u32>& sides) {
    return {sides[0], sides[1], sides[2], sides[3]};
}

std::string regionText(const std::string& file, const std::vector<zt::u32>& sides) {
    const RegionReport report = reportOnRegion(file, regionOf(sides));
    char text[128];
    std::snprintf(text, sizeof text, "  region        mean %.6g, spread %.2f %%, photon statistics %.2f %%\n",
                  report.mean, 100 * report.spread, 100 * report.statistics);
    return text;
}

std::string residualText(const std::string& file, const InfoOptions& options) {
    const ResidualReport report = reportOnResidual(file, options.raw, options.mask);
    char text[128];
    std::snprintf(text, sizeof text, "  residual      mean %.3f, worst %.3f, times photon statistics\n",
                  report.mean, report.worst);
    std::string all = text;
    for (std::size_t i = 0; options.eachFrame && i < report.frames.size(); ++i) {
        std::snprintf(text, sizeof text, "  frame %-7zu residual %.3f\n", i, report.frames[i].value_or(NAN));
        all += text;
    }
    return all;
}

std::string rangeText(FrameFile& file, Console& console) {
    const Interrupt interrupt;
    Progress progress(console, file.info().frames, false);
    const auto report = reportOnPixels(file, [&] {
        progress.advance();
        return !Interrupt::requested();
    });
    if (!report)
        throw Error(file.info().path + ": interrupted after " + countText(progress.framesDone(), "frame") +
                    " of " + std::to_string(file.info().frames) + "; the range is not known");
    return pixelReportText(*report);
}

void showFile(const std::string& path, const InfoOptions& options, Console& console) {
    const auto file = FrameFile::open(path);
    const FileReport report = reportOnFile(*file);
    console.result(fileReportText(report));
    if (options.range)
        console.result(rangeText(*file, console));
    if (report.info.run && report.info.format == "HDF5")
        checkPartsOf(splitDatasetPath(path).file);
    if (!options.region.empty())
        console.result(regionText(path, options.region));
    if (!options.raw.empty())
        console.result(residualText(path, options));
}

void showSettings(const std::string& path, Console& console) {
    const SettingsTree settings = readSettings(path);
    std::string text = settingsReportText(settings, path);
    if (const std::string note = inspectionNote(settings); !note.empty())
        text += "  flat fields   " + note + '\n';
    text += factsText(factsOf(settings, path));
    console.result(text);
}

// A file that cannot be read does not stop the list.
int showFiles(const InfoOptions& options, Console& console) {
    int exitCode = EXIT_ALL_DONE;
    for (const std::string& path : options.files) {
        try {
            if (looksLikeSettings(path))
                showSettings(path, console);
            else
                showFile(path, options, console);
        } catch (const UsageError& error) {
            console.message(error.what());
            exitCode = EXIT_USAGE;
        } catch (const Error& error) {
            console.message(error.what());
            exitCode = std::max<int>(exitCode, EXIT_FAILED);
        }
        if (Interrupt::requested())
            break;
    }
    return exitCode;
}

void checkPaths(const InfoOptions& options, Console& console) {
    if (options.picture.empty())
        return;
    if (!QString::fromStdString(options.picture).endsWith(".png", Qt::CaseInsensitive))
        throw UsageError("--picture " + options.picture +
                         ": a picture is written as PNG; the name must end in .png");
    CommandPaths paths;
    for (const std::string& file : options.files)
        addInput(paths, file);
    for (const std::string& file : {options.raw, options.mask})
        if (!file.empty())
            addInput(paths, file);
    paths.writes(options.picture, "the picture", options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console);
}

int showInfo(const InfoOptions& options, Console& console) {
    if (options.raw.empty() && (!options.mask.empty() || options.eachFrame))
        throw UsageError("--mask and --each-frame go with --raw");
    checkPaths(options, console);
    if (!options.picture.empty())
        writeFramePicture(options.picture, options.files,
                          options.region.empty() ? std::nullopt : std::optional(regionOf(options.region)));
    return showFiles(options, console);
}

} // namespace

void addInfoCommand(const CommandContext& context) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command =
        context.program.add_subcommand("info", "Show what files hold: kind, frames, size, type, times");
    command
        ->add_option("FILE", options->files,
                     "Frame files, folders of them, or patterns in quotes; of an HDF5 file one dataset by "
                     "FILE::/path/of/dataset")
        ->required()
        ->type_name("PATH");
    command->add_flag("--range", options->range,
                      "Show the smallest and the greatest pixel too, which reads every frame");
    command
        ->add_option(
            "--region", options->region,
            "Show the uniformity of a region: relative standard deviation of its pixels, averaged over the "
            "frames, next to that of photon statistics alone")
        ->delimiter(',')
        ->expected(4)
        ->check(wholeNumber<zt::u32>())
        ->type_name("X,Y,W,H");
    command
        ->add_option(
            "--raw", options->raw,
            "Show how much of the fixed pattern remains after a correction: the frames before it, whose "
            "photon statistics the residual is compared with")
        ->type_name("FILE");
    command
        ->add_option("--mask", options->mask,
                     "With --raw: a frame that is 0 where the sample is, and bad pixels")
        ->type_name("FILE");
    command->add_flag("--each-frame", options->eachFrame, "With --raw: a line for each frame as well");
    command
        ->add_option(
            "--picture", options->picture,
            "Write a picture of the first frame of each file, side by side; of the region if one is given")
        ->type_name("FILE.png");
    command->add_flag("--force", options->force, "Replace a picture that exists");
    command->footer("Examples:\n"
                    "  ombrel info corrected.h5\n"
                    "  ombrel info corrected.h5 --raw frames.h5 --mask open-area.h5");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = showInfo(*options, console);
    });
}

} // namespace ombrel::cli
