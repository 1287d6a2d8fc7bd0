#include "run/RunSetup.h"

#include "frame/PreviewFolder.h"
#include "host/DeviceMask.h"
#include "run/MakeRecord.h"
#include "run/ResumeOutput.h"
#include "zt/DataType.h"

namespace ombrel {

namespace {

std::optional<OutputLock> lockedOutput(const RunOptions& options) {
    if (options.dryRun)
        return std::nullopt;
    return OutputLock(options.output, options.force || options.resume);
}

FrameRange checkedRange(const RunOptions& options, const FrameStack& stack) {
    const FrameRange range = parseFrameRange(options.frames, stack.frameCount());
    if (!options.preview.empty() && !options.force && !options.resume)
        PreviewFolder::checkFree(options.preview, range);
    return range;
}

// The filters may look at the mask while they are loaded.
WorkerChains loadedChains(const RunOptions& options, Session& session, zt::u64 frames, Console& console) {
    Device& device = session.device();
    if (!options.deviceMask.empty())
        device.pixels().setMask(readDeviceMask(options.deviceMask, device.width(), device.height()));
    return makeWorkerChains(session, options, frames, console);
}

OutputPlan outputPlan(const RunSetup& setup) {
    OutputPlan plan;
    plan.path = setup.options.output;
    plan.pixelType = setup.options.outputType == "f64" ? zt::DT_DOUBLE : zt::DT_FLOAT;
    plan.record = setup.record.toJson();
    plan.settingsFiles = settingsFilesOf(setup.options);
    return plan;
}

} // namespace

RunSetup::RunSetup(const RunOptions& runOptions, Console& console)
    : options(runOptions), lock(lockedOutput(options)), stack(options.inputs, FrameRole::Sample),
      range(checkedRange(options, stack)),
      session(console, options.plugin, {options.deviceType, stack.width(), stack.height()}),
      workers(loadedChains(options, session, range.count(), console)),
      record(makeRecord(options, range, session.pluginPath(), workers.chains[0])) {
    if (options.resume)
        begun = outputToResume(options.output, record);
}

BatchResult RunSetup::run(const BatchListener& listener) {
    BatchPlan plan{.stack = stack,
                   .workers = workers.chains,
                   .begin = range.begin,
                   .end = range.end,
                   .acqTime = options.acqTime,
                   .mode = options.replace ? ApplyMode::Replace : ApplyMode::Copy,
                   .output = outputPlan(*this),
                   .begun = begun ? &*begun : nullptr,
                   .remembers = workers.remember,
                   .choice = {}};
    ChoiceLogs* const choices = workers.choices.get();
    if (choices)
        plan.choice = [=](std::size_t worker, zt::u64 frame) { return choices->read(worker, frame); };
    const BatchResult result = runBatch(plan, listener);
    if (choices)
        choices->copyToUserFile();
    return result;
}

} // namespace ombrel
