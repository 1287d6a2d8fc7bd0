#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Progress.h"
#include "cli/CommandLine.h"
#include "frame/FrameFile.h"
#include "run/RunPaths.h"
#include "stack/PackedOutput.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>

namespace ombrel::cli {

namespace {

struct PackOptions {
    std::string output;
    std::string packed;
    std::string compression = "deflate";
    bool force = false;
    bool quiet = false;
};

void pack(const PackOptions& options, Console& console) {
    checkHdf5OutputName(options.packed);
    CommandPaths paths;
    addInput(paths, options.output);
    addOutput(paths, options.packed, options.force ? WhenThere::Replace : WhenThere::Refuse);
    paths.check(console);
    const OutputLock lock(options.packed, options.force);
    const zt::u64 frames = FrameFile::open(options.output)->info().frames;
    const Interrupt interrupt;
    Progress progress(console, frames, options.quiet);
    packOutput(options.output, options.packed, options.compression, [&] {
        progress.advance();
        return !Interrupt::requested();
    });
    if (options.quiet)
        return;
    const auto bytesOf = [](const std::string& path) {
        return bytesText(static_cast<double>(std::filesystem::file_size(path)));
    };
    console.message(countText(frames, "frame") + ", " + bytesOf(options.output) + " packed into " +
                    bytesOf(options.packed) + ": " + options.packed);
}

} // namespace

void addPackCommand(const CommandContext& context) {
    auto options = std::make_shared<PackOptions>();
    CLI::App* command =
        context.program.add_subcommand("pack", "Copy a finished output into a compressed one, for archives");
    command->add_option("OUTPUT", options->output, "A complete HDF5 output of ombrel run or merge")
        ->required()
        ->type_name("FILE");
    command
        ->add_option("-o,--output", options->packed, "The compressed output, which --resume does not accept")
        ->required()
        ->type_name("SMALL.h5");
    command
        ->add_option("--compress", options->compression,
                     "The filter of HDF5; lz4 and bitshuffle are fast, but readers need their plug-ins")
        ->check(CLI::IsMember(compressionNames()).description(""))
        ->type_name("deflate|lz4|bitshuffle")
        ->capture_default_str();
    command->add_flag("--force", options->force, "Replace an output that exists");
    command->add_flag("-q,--quiet", options->quiet, "No progress and no summary");
    command->footer("Example:\n"
                    "  ombrel pack corrected.h5 -o archive.h5 --compress bitshuffle");
    command->callback([=, &console = context.console] { pack(*options, console); });
}

} // namespace ombrel::cli
