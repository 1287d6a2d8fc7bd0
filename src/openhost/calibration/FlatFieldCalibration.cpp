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
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"
#include "stack/FrameStack.h"
#include "zt/IObject.h"
#include "zt/IPrivateFilters.h"

#include <algorithm>
#include <memory>

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
}

CommandPaths pathsOf(const FlatFieldOptions& options) {
    CommandPaths paths;
    for (const std::string& input : options.inputs)
        addInput(paths, input);
    addPlugin(paths, options.plugin);
    const auto whenThere = options.force ? WhenThere::Replace : WhenThere::Refuse;
    paths.writes(options.output, "the settings file", whenThere);
    if (!options.ffcFile.empty())
        paths.writes(options.ffcFile, "the file of coefficients", whenThere);
    if (!options.asciiFile.empty())
        paths.writes(options.asciiFile, "the table of coefficients", whenThere);
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
    throw Error(path +
                ": holds no flat field: it holds neither frames (TIFF or HDF5) nor a matrix of numbers as "
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

// Defines the flats to be averaged under one path. A single input keeps its own name for messages, without
// the suffix by which the filter recognises finished coefficients.
std::string defineFlats(Session& session, const FrameStack& stack, const FlatFieldOptions& options) {
    std::vector<FrameSource> sources;
    for (std::size_t file = 0; file < stack.fileCount(); ++file)
        for (zt::u32 frame = 0; frame < stack.info(file).frames; ++frame)
            sources.push_back({options.inputs[file], FrameRole::Flat, frame});
    const std::string name = options.inputs.size() > 1            ? "<Multiple files>"
                             : isPrepared(options.inputs.front()) ? options.inputs.front() + " (frames)"
                                                                  : options.inputs.front();
    session.host().frames().defineFrames(name, std::move(sources));
    return name;
}

void loadFromAcquisition(Session& session, FrameStack& stack, const FlatFieldOptions& options,
                         IFFFilter& filter) {
    std::vector<FramePtr> acquired;
    for (zt::u64 frame = 0; frame < stack.frameCount(); ++frame)
        acquired.push_back(acquiredFrame(*stack.readFrame(frame), options, stack.where(frame)));
    session.device().setAcquisition(std::move(acquired));
    if (filter.loadCoefficientsFromAcquisition(true) != 0)
        throw Error(options.inputs.front() + ": no coefficients could be calculated from the frames");
}

void loadFromFiles(Session& session, const std::string& path, IFFFilter& filter) {
    const int code = filter.loadCoefficientsFromFile(path.c_str(), false);
    // The filter silently skips frames that it could not get.
    if (const std::string reason = session.host().frames().takeError(); !reason.empty())
        throw Error(reason);
    if (code != 0)
        throw Error(path + ": the filter returned no coefficients");
}

void setSwitches(const FlatFieldOptions& options, IFFFilter& filter) {
    filter.setInterpolateBadMaskedPixels(!options.noInterpolation);
    filter.setUseDeviceMaskForBadPixels(!options.noDeviceMask);
    if (options.bad == "ff")
        filter.setUseFFCoeffsForBadPixels(true);
    else
        filter.setUseZeroPixelsForBadPixels(options.bad == "zero");
}

void writeOutputs(Session& session, FilterLink& link, const FlatFieldOptions& options) {
    IFFFilter& filter = filterInterface<IFFFilter>(link.filter(), flatFieldObject);
    const auto store = session.host().openSettings(options.output);
    link.filter().saveToSettings(store.get());
    // A table has its own size, whatever size was given for the frames.
    const zt::u32 pixels = session.device().pixelCount();
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
    writeTable(options.ffcFile, false);
    writeTable(options.asciiFile, true);
    // The filter's interface cannot switch it on, but its settings can.
    store->setBool("FF", "UseTDI", options.tdi);
    writeSettingsFile(store->contents(), options.output);
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
        console.warning(stack->unusedDarks());
        size = {stack->width(), stack->height()};
    }
    Session session(console, options.plugin, {1, size.width, size.height});
    FilterLink link = session.makeLink("Flat-Field");
    IFFFilter& filter = filterInterface<IFFFilter>(link.filter(), flatFieldObject);
    setSwitches(options, filter);
    if (!stack)
        loadFromFiles(session, options.inputs.front(), filter);
    else if (options.acquisition)
        loadFromAcquisition(session, *stack, options, filter);
    else
        loadFromFiles(session, defineFlats(session, *stack, options), filter);
    writeOutputs(session, link, options);
    if (stack && filter.interpolateBadAndMaskedPixels() && filter.useZeroPixelsForBadPixels())
        console.warning(unseenZeroPixels(stack->pixelType(0)));
    const std::string flats = stack ? countText(stack->frameCount(), "flat field") + ": " : "";
    console.message(flats + options.output);
}

} // namespace ombrel
