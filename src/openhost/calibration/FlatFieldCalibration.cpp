#include "calibration/FlatFieldCalibration.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "host/Device.h"
#include "host/Session.h"
#include "run/RunPaths.h"
#include "run/RunSetup.h"
#include "settings/CalibrationFacts.h"
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"
#include "stack/FrameStack.h"
#include "uncertainty/PhotonTransfer.h"
#include "zt/IObject.h"
#include "zt/IPrivateFilters.h"

#include <algorithm>
#include <memory>
#include <span>
#include <utility>

namespace ombrel {

namespace {

bool isPrepared(const std::string& path) {
    return path.ends_with("ffc");
}

void checkOptions(const FlatFieldOptions& options) {
    if (!options.ffcFile.empty() && !isPrepared(options.ffcFile))
        throw UsageError("--ffc " + options.ffcFile +
                         ": the name must end in \"ffc\", which marks files of coefficients");
    if (options.subFrame && !options.acquisition)
        throw UsageError("--sub-frame goes with --acquisition");
    if (!options.size.empty())
        parseFrameSize("--size", options.size);
    checkInspection(options.inspection);
}

CommandPaths pathsOf(const FlatFieldOptions& options) {
    CommandPaths paths;
    for (const std::string& input : options.inputs)
        addInput(paths, input);
    addDarkFile(paths, options.dark);
    if (options.mask.isFile())
        addFrames(paths, options.mask.source, "the device mask");
    addPlugin(paths, options.plugin);
    const auto whenThere = options.force ? WhenThere::Replace : WhenThere::Refuse;
    paths.writes(options.output, "the settings file", whenThere);
    if (!options.ffcFile.empty())
        paths.writes(options.ffcFile, "the file of coefficients", whenThere);
    if (!options.asciiFile.empty())
        paths.writes(options.asciiFile, "the table of coefficients", whenThere);
    addInspectionPaths(paths, options.inspection, whenThere);
    return paths;
}

enum class FlatSource {
    Frames,
    Matrix,       // of numbers, as text
    Coefficients, // finished ones
};

FlatSource sourceOf(const std::string& path) {
    if (FrameFile::looksLikeFrames(path))
        return FlatSource::Frames;
    const FileDescriptor file = FileDescriptor::openForReading(splitDatasetPath(path).file);
    checkRegular(file, path);
    if (isPrepared(path))
        return FlatSource::Coefficients;
    if (beginsWithNumber(file))
        return FlatSource::Matrix;
    throw Error(path + ": holds no flat field: it holds neither frames nor a matrix of numbers as "
                       "text, and its name does not end in \"ffc\" as that of a file of coefficients does");
}

// True for one matrix or one file of coefficients, which have no size.
bool isTable(const FlatFieldOptions& options) {
    const auto isFrames = [](const std::string& path) { return sourceOf(path) == FlatSource::Frames; };
    const auto table = std::ranges::find_if_not(options.inputs, isFrames);
    if (table == options.inputs.end())
        return false;
    if (options.inputs.size() > 1)
        throw Error(*table + ": is a table of numbers, which must be the only input");
    return true;
}

FrameSize tableSize(const FlatFieldOptions& options) {
    const std::string& path = options.inputs.front();
    if (options.acquisition)
        throw Error(path + ": is not a frame file; --acquisition needs frames");
    if (isDarkFile(options.dark))
        throw UsageError(path + ": is a table of numbers; --dark needs frames");
    const InspectionOptions& inspection = options.inspection;
    if (!inspection.exclude.empty() || !inspection.only.empty() || !inspection.report.empty())
        throw UsageError(path + ": is a table of numbers, which is not inspected; --exclude, --only and "
                                "--report need frames");
    if (options.size.empty())
        throw UsageError(path + ": the size of the frames is unknown; give --size WxH");
    return parseFrameSize("--size", options.size);
}

// The frame without its sub-frames, or the sub-frame with the selected number.
FramePtr acquiredFrame(Frame& frame, const FlatFieldOptions& options, const std::string& where) {
    if (!options.subFrame) {
        FramePtr whole = Frame::create(frame.width(), frame.height(), frame.frameDataType());
        std::ranges::copy(frame.bytes(), whole->bytes().begin());
        return whole;
    }
    const auto subFrames = frame.subFrames();
    if (*options.subFrame >= subFrames.size())
        throw Error(where + ": sub-frame " + std::to_string(*options.subFrame) +
                    " does not exist; the frame has " + std::to_string(subFrames.size()));
    return FramePtr(static_cast<Frame*>(subFrames[*options.subFrame]->clone()));
}

struct UsedFlats {
    FrameStack& stack;
    std::vector<std::size_t> frames; // ascending
    std::optional<DarkField> dark;
};

void checkDark(const DarkField& dark, FrameStack& stack, const FlatFieldOptions& options, Console& console) {
    if (options.subFrame)
        throw UsageError("--sub-frame: not with a dark, which is that of whole frames; give --dark none");
    checkDarkSize(dark, stack.width(), stack.height(), stack.info(0).path);
    console.warning(darkTimeNote(dark, stack.acqTime(0), stack.info(0).path));
}

// Judges the frames as the filter gets them.
UsedFlats inspect(FieldInspection& inspection, FrameStack& stack, const FlatFieldOptions& options,
                  Console& console) {
    FieldSet set = fieldSetOf(stack, "flat fields");
    if (options.acquisition)
        set.read = [&](std::size_t frame) {
            return acquiredFrame(*stack.readFrame(frame), options, stack.where(frame));
        };
    UsedFlats flats{stack, inspection.judge(set), measureDark(options.dark, options.inputs, inspection)};
    if (flats.dark)
        checkDark(*flats.dark, stack, options, console);
    inspection.finish();
    return flats;
}

// The flat field as the filter gets it: the mean of the frames, or their sum for an acquisition.
struct FlatTable {
    FramePtr frame;
    std::size_t count = 0; // of frames
    double scale = 1;      // the mean is the table times this
    std::optional<double> gain = {};
    double seconds = 0;                 // acquisition time of each; 0 if not known or not the same
    std::optional<DarkField> dark = {}; // that was subtracted
};

// The filter would read the frames itself, and get the same bits: it adds and divides in this order. A frame
// that cannot be read is an error here; the filter skips it.
FlatTable tableOf(const UsedFlats& flats, const FlatFieldOptions& options) {
    FlatTable table{Frame::create(flats.stack.width(), flats.stack.height(), zt::DT_DOUBLE),
                    flats.frames.size()};
    PhotonTransfer transfer(flats.dark ? &*flats.dark : nullptr);
    table.dark = flats.dark;
    table.seconds = flats.stack.acqTime(flats.frames.front());
    for (const std::size_t i : flats.frames) {
        FramePtr frame = flats.stack.readFrame(i);
        if (options.acquisition)
            frame = acquiredFrame(*frame, options, flats.stack.where(i));
        if (flats.stack.acqTime(i) != table.seconds)
            table.seconds = 0;
        if (flats.dark)
            frame->subtract(flats.dark->mean);
        transfer.add(*frame);
        table.frame->addFrame(frame.get());
    }
    transfer.endSet();
    table.gain = transfer.gain();
    const double share = 1.0 / static_cast<double>(table.count);
    if (options.acquisition)
        table.scale = share;
    else if (table.count > 1)
        table.frame->multiplyBy(share);
    return table;
}

// A table of numbers has no mask next to it.
void maskDevice(Session& session, const FrameStack* stack, const FlatFieldOptions& options,
                Console& console) {
    FrameFileInfo frames = stack ? stack->info(0) : FrameFileInfo();
    frames.width = session.device().width();
    frames.height = session.device().height();
    if (const auto mask = deviceMaskFor(options.mask, frames)) {
        session.device().pixels().setMask(mask->deviceBytes());
        console.note(maskNote(options.mask, *mask));
    }
}

// A single input keeps its own name for messages, without the suffix by which the filter recognises finished
// coefficients.
std::string nameOf(const FlatFieldOptions& options) {
    return options.inputs.size() > 1            ? "<Multiple files>"
           : isPrepared(options.inputs.front()) ? options.inputs.front() + " (frames)"
                                                : options.inputs.front();
}

FramePtr copyOf(const Frame& frame) {
    return FramePtr(static_cast<Frame*>(frame.clone()));
}

void loadFromAcquisition(Session& session, const FlatTable& table, const FlatFieldOptions& options,
                         IFFFilter& filter) {
    std::vector<FramePtr> acquired;
    acquired.push_back(copyOf(*table.frame));
    session.device().setAcquisition(std::move(acquired));
    if (filter.loadCoefficientsFromAcquisition(true) != 0)
        throw Error(options.inputs.front() + ": no coefficients could be calculated from the frames");
}

void loadFromFile(Session& session, const std::string& path, IFFFilter& filter) {
    const int code = filter.loadCoefficientsFromFile(path.c_str(), false);
    // The filter silently skips frames that it could not get.
    if (const std::string reason = session.host().frames().takeError(); !reason.empty())
        throw Error(reason);
    if (code != 0)
        throw Error(path + ": the filter returned no coefficients");
}

void loadFromFrames(Session& session, const FlatTable& table, const FlatFieldOptions& options,
                    IFFFilter& filter) {
    const std::string name = nameOf(options);
    session.host().frames().defineFrame(name, copyOf(*table.frame));
    loadFromFile(session, name, filter);
}

std::vector<double> meansOfColumns(std::span<const double> pixels, std::size_t width) {
    std::vector<double> means(width);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        means[i % width] += pixels[i] * static_cast<double>(width) / static_cast<double>(pixels.size());
    return means;
}

// A coefficient is the median of the table divided by its value, and exactly 1 for the median alone.
CalibrationFacts factsOf(const SettingsTree& settings, const FlatTable& table, bool tdi,
                         const std::string& path) {
    CalibrationFacts facts;
    facts.flatFields = static_cast<int>(table.count);
    facts.gain = table.gain;
    facts.dark = table.dark;
    if (table.seconds != 0)
        facts.seconds = table.seconds;
    const auto pixels = std::as_const(*table.frame).pixels<double>();
    const auto values = tdi ? meansOfColumns(pixels, table.frame->width())
                            : std::vector<double>(pixels.begin(), pixels.end());
    const auto coefficients = doublesOf(settings, "FF", tdi ? "TDICoeffs" : "Coeffs");
    const auto one = static_cast<std::size_t>(std::ranges::find(coefficients, 1.0) - coefficients.begin());
    if (one < values.size() && values[one] * table.scale > 0)
        facts.level = values[one] * table.scale;
    else if (table.dark)
        throw Error(path +
                    ": the flat fields are not brighter than the dark fields; check which is which, or give "
                    "--dark none to subtract nothing");
    return facts;
}

void setSwitches(const FlatFieldOptions& options, IFFFilter& filter) {
    filter.setInterpolateBadMaskedPixels(!options.noInterpolation);
    filter.setUseDeviceMaskForBadPixels(!options.noDeviceMask);
    if (options.bad == "ff")
        filter.setUseFFCoeffsForBadPixels(true);
    else
        filter.setUseZeroPixelsForBadPixels(options.bad == "zero");
}

// A loaded filter, and what it was loaded from.
struct Calibrated {
    Session& session;
    FilterLink& link;
    const FlatTable* flat; // null for coefficients from a table of numbers
    const FieldInspection& inspection;
};

void writeOutputs(const Calibrated& made, const FlatFieldOptions& options) {
    IFFFilter& filter = filterInterface<IFFFilter>(made.link.filter(), flatFieldObject);
    const auto store = made.session.host().openSettings(options.output);
    made.link.filter().saveToSettings(store.get());
    // A table has its own size, whatever size was given for the frames.
    const zt::u32 pixels = made.session.device().pixelCount();
    if (const int values = store->getInt("FF", "CoeffsSize", 0); static_cast<zt::u32>(values) != pixels)
        throw Error(options.inputs.front() + ": holds " +
                    countText(static_cast<zt::u64>(values), "coefficient") + " for frames of " +
                    countText(pixels, "pixel"));
    const auto writeTable = [&](const std::string& path, bool ascii) {
        if (path.empty())
            return;
        AtomicFile table(path);
        if (filter.saveCoefficientsToFile(table.newPath().c_str(), ascii) != 0)
            throw Error(path + ": the coefficients can't be written; check the free space on the disk");
        table.commit();
    };
    // The filter's interface cannot switch it on, but its settings can.
    store->setBool("FF", "UseTDI", options.tdi);
    SettingsTree settings = store->contents();
    if (made.flat) {
        noteFacts(settings, factsOf(settings, *made.flat, options.tdi, options.inputs.front()));
        made.inspection.note(settings);
    }
    writeTable(options.ffcFile, false);
    writeTable(options.asciiFile, true);
    writeSettingsFile(settings, options.output);
}

} // namespace

void calibrateFlatField(const FlatFieldOptions& options, Console& console) {
    checkOptions(options);
    pathsOf(options).check(console, options.log);
    checkSettingsOutput(options.output);
    const OutputLock lock(options.output, options.force);
    std::unique_ptr<FrameStack> stack;
    FrameSize size;
    if (isTable(options)) {
        size = tableSize(options);
    } else {
        stack = std::make_unique<FrameStack>(options.inputs, FrameRole::Flat);
        console.warning(stack->passedOver());
        size = {stack->width(), stack->height()};
    }
    FieldInspection inspection(options.inspection, console);
    std::optional<UsedFlats> flats;
    if (stack)
        flats.emplace(inspect(inspection, *stack, options, console));
    Session session(console, options.plugin, {1, size.width, size.height});
    maskDevice(session, stack.get(), options, console);
    FilterLink link = session.makeLink("Flat-Field");
    IFFFilter& filter = filterInterface<IFFFilter>(link.filter(), flatFieldObject);
    setSwitches(options, filter);
    const auto flat = flats ? std::optional(tableOf(*flats, options)) : std::nullopt;
    if (!flat)
        loadFromFile(session, options.inputs.front(), filter);
    else if (options.acquisition)
        loadFromAcquisition(session, *flat, options, filter);
    else
        loadFromFrames(session, *flat, options, filter);
    writeOutputs({session, link, flat ? &*flat : nullptr, inspection}, options);
    if (stack && filter.interpolateBadAndMaskedPixels() && filter.useZeroPixelsForBadPixels())
        console.warning(unseenZeroPixels(flats->dark ? zt::u8{zt::DT_DOUBLE} : stack->pixelType(0)));
    console.message((flats ? inspection.countText("flat field") + ": " : "") + options.output);
}

} // namespace ombrel
