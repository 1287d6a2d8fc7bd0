#include "cli/DryRun.h"

#include "base/Error.h"
#include "base/ProgramRun.h"
#include "base/SizeText.h"
#include "cli/CommandLine.h"

#include <filesystem>

namespace ombrel::cli {

namespace {

// The frame after the chain. Throws Error with the reason that it failed for.
FramePtr firstCorrected(FrameStack& stack, const FrameRange& range, Chain& chain, const RunOptions& options) {
    FramePtr frame = stack.readFrame(range.begin);
    if (options.acqTime)
        frame->setAcqTime(*options.acqTime);
    FrameResult result =
        chain.apply(std::move(frame), options.replace ? ApplyMode::Replace : ApplyMode::Copy);
    if (!result)
        throw Error(stack.where(range.begin) + ": " + result.failure);
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

int dryRun(FrameStack& stack, const FrameRange& range, WorkerChains& workers, const RunOptions& options,
           Console& console) {
    const FramePtr first = firstCorrected(stack, range, workers.chains[0], options);
    const zt::u64 pixelBytes = options.outputType == "f64" ? sizeof(double) : sizeof(float);
    const zt::u64 bytes = range.count() * first->size() * pixelBytes;
    checkRoom(options.output, bytes);
    console.message("would correct " + countText(range.count(), "frame") + " of " +
                    sizeText(stack.width(), stack.height()) + " with " +
                    std::to_string(workers.chains.size()) + " at once, and write " +
                    sizeText(first->width(), first->height()) + " " + options.outputType + ", " +
                    countText(bytes, "byte") + ": " + options.output);
    return EXIT_ALL_DONE;
}

} // namespace ombrel::cli
