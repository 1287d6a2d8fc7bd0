#include "standalone/cli/RunFrames.h"

#include "standalone/BatchRun.h"
#include "standalone/Chain.h"
#include "standalone/Error.h"
#include "standalone/FrameOutput.h"
#include "standalone/FrameStack.h"
#include "standalone/PreviewImage.h"
#include "standalone/cli/CommandLine.h"
#include "standalone/cli/FrameRange.h"
#include "standalone/cli/Interrupt.h"
#include "standalone/cli/OutputGuard.h"
#include "standalone/cli/PreviewFolder.h"
#include "standalone/cli/Progress.h"
#include "standalone/cli/Session.h"
#include "standalone/cli/UsageError.h"

#include <cstdio>
#include <memory>

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

// All settings are loaded before the first parameter is set.
Chain makeChain(Session& session, const RunOptions& options) {
    Chain chain;
    for (const std::string& text : options.filters) {
        const auto equals = text.find('=');
        FilterLink& link = chain.add(session.makeLink(text.substr(0, equals)));
        if (equals != std::string::npos)
            link.loadSettings(text.substr(equals + 1));
    }
    for (const std::string& assignment : options.params)
        chain.setParam(assignment);
    return chain;
}

BatchListener makeListener(const FrameStack& stack, Console& console, Progress& progress,
                           const PreviewFolder* preview) {
    BatchListener listener;
    listener.frameDone = [&](zt::u64) { progress.advance(); };
    listener.frameFailed = [&](zt::u64 frame, const std::string& reason) {
        console.message(stack.where(frame) + ": " + reason);
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

int report(const BatchResult& result, const RunOptions& options, const Progress& progress, Console& console) {
    if (!result.hasOutput && result.failed != 0)
        console.message("every frame failed; there is no output");
    else if (!options.quiet)
        console.message(summary(result, progress, options.output));
    if (result.stopped)
        console.message("interrupted; the output holds the frames up to here");
    return result.failed == 0 && !result.stopped ? EXIT_ALL_DONE : EXIT_FAILED;
}

} // namespace

int runFrames(const RunOptions& options, Console& console) {
    checkOptions(options);
    if (!options.log.empty())
        console.openLog(options.log);

    FrameStack stack(options.inputs, FrameRole::Sample);
    const FrameRange range = parseFrameRange(options.frames, stack.frameCount());
    checkOutputPath(options.output, options.force, options.inputs);

    Session session(console, options.plugin, {options.deviceType, stack.width(), stack.height()});
    if (!options.deviceMask.empty())
        applyDeviceMask(session.device(), options.deviceMask);
    Chain chain = makeChain(session, options);
    const auto preview = options.preview.empty() ? nullptr : std::make_unique<PreviewFolder>(options.preview);

    const BatchPlan plan{.stack = stack,
                         .chain = chain,
                         .begin = range.begin,
                         .end = range.end,
                         .acqTime = options.acqTime,
                         .outputPath = options.output,
                         .outputType = options.outputType == "f64" ? zt::DT_DOUBLE : zt::DT_FLOAT,
                         .mode = options.replace ? ApplyMode::Replace : ApplyMode::Copy};

    const Interrupt interrupt;
    Progress progress(console, range.count(), options.quiet);
    const BatchResult result = runBatch(plan, makeListener(stack, console, progress, preview.get()));
    return report(result, options, progress, console);
}

} // namespace ombrel::cli
