#include "standalone/Error.h"
#include "standalone/FileReport.h"
#include "standalone/RegionReport.h"
#include "standalone/cli/CommandLine.h"
#include "standalone/cli/Commands.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace ombrel::cli {

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    std::vector<zt::u32> region; // x, y, width, height
};

std::string regionText(const std::string& file, const std::vector<zt::u32>& sides) {
    const RegionReport report = reportOnRegion(file, {sides[0], sides[1], sides[2], sides[3]});
    char text[128];
    std::snprintf(text, sizeof text, "  region        mean %.6g, spread %.2f %%, photon statistics %.2f %%\n",
                  report.mean, 100 * report.spread, 100 * report.statistics);
    return text;
}

// A file that can't be read is told, and the others are shown all the same.
int showFiles(const InfoOptions& options, Console& console) {
    int exitCode = EXIT_ALL_DONE;
    for (const std::string& file : options.files) {
        try {
            console.result(fileReportText(reportOnFile(file)));
            if (!options.region.empty())
                console.result(regionText(file, options.region));
        } catch (const Error& error) {
            console.message(error.what());
            exitCode = EXIT_FAILED;
        }
    }
    return exitCode;
}

} // namespace

void addInfoCommand(const CommandContext& context) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command =
        context.program.add_subcommand("info", "Show what files hold: kind, frames, size, type, range");
    command
        ->add_option("FILE", options->files,
                     "Frame files; of an HDF5 file one dataset by FILE::/path/of/dataset")
        ->required()
        ->type_name("PATH");
    command
        ->add_option(
            "--region", options->region,
            "Tell how even the pixels of a region are: relative standard deviation, averaged over the "
            "frames, beside what photon statistics alone give")
        ->delimiter(',')
        ->expected(4)
        ->type_name("X,Y,W,H");
    command->callback([=, &console = context.console, &exitCode = context.exitCode] {
        exitCode = showFiles(*options, console);
    });
}

} // namespace ombrel::cli
