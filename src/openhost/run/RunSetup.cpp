#include "run/RunSetup.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/PreviewImage.h"
#include "hdf5/Hdf5Nexus.h"
#include "host/Device.h"
#include "host/Session.h"
#include "metadata/Metadata.h"
#include "run/RunSigma.h"
#include "run/TouchedPixels.h"
#include "settings/CalibrationFacts.h"
#include "settings/Settings.h"
#include "settings/SettingsFiles.h"
#include "zt/Types.h"

#include <algorithm>

namespace ombrel {

namespace {

LinkRecord recordOf(const LinkOptions& options, const FilterLink& link) {
    LinkRecord record{link.name(), {}, {}};
    if (!options.settings.empty()) {
        record.settings = FileRecord::of(options.contents, true);
        record.settings->path = absolutePath(options.settings);
    }
    for (const std::string& file : link.filesRead())
        record.files.push_back(FileRecord::of(file, true));
    return record;
}

} // namespace

LinkOptions LinkOptions::parse(const std::string& text) {
    const std::size_t end = text.find('=');
    const std::string settings = end == std::string::npos ? std::string() : text.substr(end + 1);
    return {text.substr(0, end), settings, settings};
}

namespace {

// The file of the mask, what part of it, and the mask itself. The hash of a file of frames would take long.
void recordMask(RunRecord& record, const RunOptions& options, const PixelMask& mask) {
    const auto [file, dataset] = splitDatasetPath(mask.source);
    const std::string path = absolutePath(file);
    record.deviceMask = FileRecord::of(file, std::ranges::find(record.inputs, path, &FileRecord::path) ==
                                                 record.inputs.end());
    record.maskDataset = dataset;
    record.maskConvention = options.mask.convention;
    record.maskHash = mask.hash();
}

} // namespace

RunRecord makeRecord(RunSetup& setup) {
    const RunOptions& options = setup.options;
    Chain& chain = setup.workers.chains[0];
    RunRecord record;
    record.version = OMBREL_VERSION;
    record.plugin = FileRecord::of(setup.session.pluginPath(), true);
    for (std::size_t i = 0; i < options.links.size(); ++i)
        record.chain.push_back(recordOf(options.links[i], chain.links()[i]));
    record.params = options.params;
    for (const std::string& assignment : options.params)
        if (const std::string file = ParamAssignment(assignment).fileUsed(); !file.empty())
            record.paramFiles.push_back(FileRecord::of(file, true));
    for (const std::string& input : setup.stack.paths()) {
        const auto [file, dataset] = splitDatasetPath(input);
        record.inputs.push_back(FileRecord::of(file, false));
        record.datasets.push_back(dataset);
    }
    record.begin = setup.range.begin;
    record.end = setup.range.end;
    record.outputType = options.outputType;
    record.scale = options.scale;
    record.replace = options.replace;
    record.deviceType = options.deviceType;
    if (setup.mask)
        recordMask(record, options, *setup.mask);
    record.marks = options.marks.marks;
    record.keepNan = options.marks.keepNan;
    record.acqTime = options.acqTime;
    recordSigma(record, options.sigma);
    recordDark(record, setup);
    record.quantity = options.quantity.quantity;
    record.levelRegion = options.quantity.levelRegion;
    return record;
}

std::vector<std::string> settingsFilesOf(const RunOptions& options) {
    std::vector<std::string> files;
    for (const LinkOptions& link : options.links)
        if (!link.contents.empty())
            files.push_back(link.contents);
    return files;
}

std::optional<OutputState> outputToResume(const std::string& path, const RunRecord& record) {
    std::optional<OutputState> state = FrameOutput::stateToResume(path, record.toJson());
    if (!state)
        return state;
    const auto differences = record.differencesFrom(RunRecord::fromJson(state->plan.record));
    if (differences.empty())
        return state->framesDone > 0 ? std::move(state) : std::nullopt;
    std::string text = path + ": was written by a different run and cannot be resumed";
    for (const std::string& difference : differences)
        text += "; " + difference;
    throw Error(text);
}

std::optional<PixelPacking> packingOf(const RunOptions& options) {
    const bool isHalf = options.outputType == "f16";
    const bool isPacked = isHalf || options.outputType == "u16";
    if (options.scale && !isPacked)
        throw UsageError("--scale goes with --output-type u16 or f16");
    if (options.outputType == "u16" && !options.scale)
        throw UsageError("--output-type u16 needs --scale LO,HI: the values that are stored as 0 and 65534");
    if (!isPacked)
        return std::nullopt;
    return options.scale ? PixelPacking::between((*options.scale)[0], (*options.scale)[1], isHalf)
                         : PixelPacking::plainHalf();
}

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

// The filters may use the mask while they are loaded.
WorkerChains loadedChains(RunSetup& setup, Console& console) {
    if (setup.mask) {
        setup.session.device().pixels().setMask(setup.mask->deviceBytes());
        console.note(maskNote(setup.options.mask, *setup.mask));
    }
    return makeWorkerChains(setup.session, setup.options, setup.range.count(), console);
}

// Only beam hardening changes them, to the unit of its thicknesses, which it does not know.
std::string unitsOf(const RunOptions& options) {
    const auto changes = [](const LinkOptions& link) { return link.name == "Beam-hardening"; };
    return std::ranges::any_of(options.links, changes)
               ? ""
               : std::string(quantityUnits(parseQuantity(options.quantity.quantity)));
}

OutputPlan outputPlan(RunSetup& setup) {
    OutputPlan plan;
    plan.path = setup.options.output;
    plan.packing = packingOf(setup.options);
    plan.pixelType = plan.packing                        ? zt::DT_U16
                     : setup.options.outputType == "f64" ? zt::DT_DOUBLE
                                                         : zt::DT_FLOAT;
    plan.record = setup.record.toJson();
    plan.settingsFiles = settingsFilesOf(setup.options);
    plan.units = unitsOf(setup.options);
    if (!plan.units.empty())
        plan.quantity = setup.options.quantity.quantity;
    plan.level = knownLevel(setup);
    const auto sources = setup.stack.filesOf(setup.range.begin, setup.range.end);
    plan.addMetadata = [sources, isNexus = isNexusPath(plan.path)](const std::string& newFile) {
        copyMetadata(sources, newFile, isNexus);
    };
    if (FrameOutput::hasPages(plan.path))
        plan.tags = imageTagsOf(sources);
    std::vector<FilterLink*> links;
    for (FilterLink& link : setup.workers.chains[0].links())
        links.push_back(&link);
    plan.touched = touchedPixels(setup.session.host(), setup.session.device(), links, setup.mask);
    plan.planes = planesOf(setup.options.sigma);
    return plan;
}

} // namespace

RunSetup::RunSetup(const RunOptions& runOptions, Console& console)
    : options(checkedSigma(runOptions)), lock(lockedOutput(options)),
      stack(options.inputs, FrameRole::Sample), range(checkedRange(options, stack)),
      mask(deviceMaskFor(options.mask, stack.info(0))),
      session(console, options.plugin, {options.deviceType, stack.width(), stack.height()}),
      workers(loadedChains(*this, console)), dark(darkOf(*this, console)), levels(levelsOf(*this)),
      sigma(sigmaModelOf(*this, console)), record(makeRecord(*this)) {
    console.warning(unusedDarks(*this));
    console.warning(flatTimeNote(*this));
    if (options.resume)
        begun = outputToResume(options.output, record);
}

RunSetup::~RunSetup() = default;

BatchResult RunSetup::run(const BatchListener& listener) {
    const FrameMarks marks(options.marks, mask ? mask->deviceBytes() : std::vector<zt::u8>());
    BatchPlan plan{.stack = stack,
                   .workers = workers.chains,
                   .begin = range.begin,
                   .end = range.end,
                   .acqTime = options.acqTime,
                   .mode = options.replace ? ApplyMode::Replace : ApplyMode::Copy,
                   .output = outputPlan(*this),
                   .dark = dark ? std::span<const double>(dark->mean) : std::span<const double>(),
                   .levels = levels ? &*levels : nullptr,
                   .marks = &marks,
                   .sigma = sigma.get(),
                   .begun = begun ? &*begun : nullptr,
                   .remembers = workers.remember,
                   .choice = {}};
    ChoiceRecorder* const choices = workers.choices.get();
    if (choices)
        plan.choice = [&, choices](std::size_t worker, zt::u64 frame) {
            return choices->read(worker, workers.chains[worker].links()[workers.chooser], frame);
        };
    const BatchResult result = runBatch(plan, listener);
    if (choices)
        choices->copyToUserFile();
    return result;
}

} // namespace ombrel
