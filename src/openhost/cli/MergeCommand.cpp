#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "cli/CommandLine.h"
#include "run/RunPaths.h"
#include "stack/MergedParts.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ombrel::cli {

namespace {

struct MergeOptions {
    std::vector<std::string> parts;
    std::string output;
    bool force = false;
};

void merge(const MergeOptions& options, Console& console) {
    checkHdf5OutputName(options.output);
    CommandPaths paths;
    for (const std::string& part : options.parts)
        addInput(paths, part);
    addOutput(paths, options.output, options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console);
    const OutputLock lock(options.output, options.force);
    mergeParts(options.parts, options.output);
    console.message(countText(options.parts.size(), "part") + " as one: " + options.output);
}

} // namespace

void checkHdf5OutputName(const std::string& output) {
    if (!hasSuffix(output, ".h5") && !hasSuffix(output, ".hdf5") && !hasSuffix(output, ".nxs"))
        throw UsageError("-o " + output + ": the name must end in .h5, .hdf5 or .nxs");
}

void addMergeCommand(const CommandContext& context) {
    auto options = std::make_shared<MergeOptions>();
    CLI::App* command =
        context.program.add_subcommand("merge", "Combine parts of one run into one virtual output");
    command
        ->add_option("PART", options->parts,
                     "HDF5 outputs of the same run with different --frames, in any order")
        ->required()
        ->type_name("FILE");
    command
        ->add_option("-o,--output", options->output,
                     "The combined output, which refers to the parts: keep them together")
        ->required()
        ->type_name("WHOLE.h5");
    command->add_flag("--force", options->force, "Replace an output that exists");
    command->footer("Example:\n"
                    "  ombrel run -f Flat-Field=ff.xml scan.h5 --frames :500 -o part-1.h5\n"
                    "  ombrel run -f Flat-Field=ff.xml scan.h5 --frames 500: -o part-2.h5\n"
                    "  ombrel merge part-1.h5 part-2.h5 -o corrected.h5");
    command->callback([=, &console = context.console] { merge(*options, console); });
}

} // namespace ombrel::cli
