// Each format of frame files is one row of this table. The content of a file selects the format for reading,
// the suffix of its name for writing.

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "base/Resources.h"
#include "formats/CbfFile.h"
#include "formats/EdfFile.h"
#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/PixelType.h"
#include "hdf5/Hdf5File.h"
#include "hdf5/Hdf5Output.h"
#include "stack/FrameStack.h"
#include "stack/InputFiles.h"
#include "tiff/TiffFile.h"
#include "tiff/TiffOutput.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

namespace ombrel {

namespace {

using Path = const std::string&;

struct Format {
    FileKind kind;
    std::string_view name;
    std::vector<std::string_view> suffixes; // that its files usually have; those of outputs select it
    std::unique_ptr<FrameFile> (*open)(Path path, FrameRole role, const FrameFileInfo* alike);
    std::vector<std::string> (*sources)(Path path);
    // Null unless ombrel writes the format.
    std::unique_ptr<FrameOutput> (*create)(const OutputPlan& plan) = nullptr;
    std::unique_ptr<FrameOutput> (*resume)(const OutputState& state) = nullptr;
    OutputState (*state)(Path path) = nullptr;
    std::optional<OutputState> (*stateToResume)(Path path, const std::string& record) = nullptr;
    std::string (*settings)(Path path, std::size_t index) = nullptr;
    std::vector<zt::u32> (*touched)(Path path) = nullptr;
    std::vector<std::string> (*filesBeside)(Path path) = nullptr;
};

template <typename Output, typename From>
std::unique_ptr<FrameOutput> make(const From& from) {
    return std::make_unique<Output>(from);
}

template <typename File>
std::unique_ptr<FrameFile> openFile(Path path, FrameRole, const FrameFileInfo*) {
    const auto [file, dataset] = splitDatasetPath(path);
    if (!dataset.empty())
        throw Error(path + ": only HDF5 files hold datasets; leave out what follows \"::\"");
    return std::make_unique<File>(file);
}

std::vector<std::string> onlyItself(Path path) {
    return {path};
}

std::optional<OutputState> tiffStateToResume(Path path, const std::string& record) {
    if (std::filesystem::exists(path) && TiffRecord::isMissing(path, record))
        return std::nullopt;
    std::optional<OutputState> state = FrameOutput::stateOf(path);
    if (state)
        TiffOutput::keepWholeFrames(*state);
    return state;
}

const Format formats[] = {
    {FileKind::Hdf5,
     "HDF5",
     {".h5", ".hdf5", ".nxs"},
     [](Path path, FrameRole role, const FrameFileInfo* alike) -> std::unique_ptr<FrameFile> {
         return std::make_unique<Hdf5File>(path, role, alike);
     },
     hdf5FilesOf,
     make<Hdf5Output, OutputPlan>,
     make<Hdf5Output, OutputState>,
     readHdf5Output,
     [](Path path, const std::string&) { return hdf5StateToResume(path); },
     settingsInHdf5Output,
     touchedInHdf5Output,
     [](Path) { return std::vector<std::string>(); }},
    {FileKind::Tiff,
     "TIFF",
     {".tif", ".tiff"},
     openFile<TiffFile>,
     onlyItself,
     make<TiffOutput, OutputPlan>,
     make<TiffOutput, OutputState>,
     TiffRecord::read,
     tiffStateToResume,
     TiffRecord::settings,
     TiffRecord::touched,
     [](Path path) { return std::vector{TiffRecord::pathFor(path)}; }},
    {.kind = FileKind::Edf,
     .name = "EDF",
     .suffixes = {".edf", ".edf.gz"},
     .open = openFile<EdfFile>,
     .sources = onlyItself},
    {.kind = FileKind::Cbf,
     .name = "CBF",
     .suffixes = {".cbf", ".cbf.gz"},
     .open = openFile<CbfFile>,
     .sources = onlyItself},
};

// "HDF5, TIFF, EDF or CBF".
std::string formatNames() {
    std::string names;
    for (const Format& format : formats)
        names += (names.empty()                      ? ""
                  : &format == std::end(formats) - 1 ? " or "
                                                     : ", ") +
                 std::string(format.name);
    return names;
}

const Format* formatOfOutput(Path path) {
    const auto* const found = std::ranges::find_if(formats, [&](const Format& format) {
        return format.create && std::ranges::any_of(format.suffixes, [&](std::string_view suffix) {
                   return hasSuffix(path, suffix);
               });
    });
    return found == std::end(formats) ? nullptr : found;
}

// For an existing output; a name without a known suffix is treated as HDF5, whose reader reports the problem.
const Format& formatOrFirst(Path path) {
    const Format* const format = formatOfOutput(path);
    return format ? *format : formats[0];
}

const Format* formatOfKind(FileKind kind) {
    const auto* const found = std::ranges::find(formats, kind, &Format::kind);
    return found == std::end(formats) ? nullptr : found;
}

// A damaged file may claim any size.
void checkMemory(const FrameFileInfo& info, zt::u64 scratchBytes) {
    const double pixels = static_cast<double>(info.width) * info.height;
    const double image = pixels * static_cast<double>(pixelSize(info.pixelType));
    const double frame = info.subFrames == 0 ? image : image * info.subFrames + pixels * sizeof(double);
    const double needed = frame + static_cast<double>(scratchBytes);
    constexpr double alwaysThere = 1 << 26;
    if (needed <= alwaysThere)
        return;
    const auto available = static_cast<double>(availableMemory());
    if (needed > available)
        throw Error(info.path + ": a frame of " + sizeText(info.width, info.height) + " pixels needs " +
                    bytesText(needed) + " of memory, but only " + bytesText(available) + " is available");
}

} // namespace

std::unique_ptr<FrameFile> FrameFile::open(const std::string& path, FrameRole role,
                                           const FrameFileInfo* alike) {
    if (isFileSeries(path))
        return std::make_unique<FrameSeries>(path, role);
    const std::string name = splitDatasetPath(path).file;
    const FileDescriptor content = FileDescriptor::openForReading(name);
    checkRegular(content, name);
    const Format* const format = formatOfKind(fileKind(content));
    if (!format)
        throw Error(name + ": is not a frame file (" + formatNames() + ")");
    auto file = format->open(path, role, alike);
    checkMemory(file->info(), file->scratchBytes);
    file->fileInfo.inAnyOrder = file->info().frames <= 1 || file->rawImage(0, 0);
    return file;
}

std::string FrameFile::namePatterns() {
    std::string patterns;
    for (const Format& format : formats)
        for (const std::string_view suffix : format.suffixes)
            patterns += (patterns.empty() ? "*" : " *") + std::string(suffix);
    return patterns;
}

bool FrameFile::canRead(FileKind kind) {
    return formatOfKind(kind);
}

namespace {

std::vector<std::string> sourcesOfSeries(Path input) {
    std::vector<std::string> sources;
    for (const std::string& path : filesOfSeries(input).paths)
        std::ranges::move(FrameFile::sourcesOf(splitDatasetPath(path).file), std::back_inserter(sources));
    return sources;
}

} // namespace

std::vector<std::string> FrameFile::sourcesOf(const std::string& path) {
    try {
        if (isFileSeries(path))
            return sourcesOfSeries(path);
        const std::string name = splitDatasetPath(path).file;
        const Format* const format = formatOfKind(fileKind(FileDescriptor::openForReading(name)));
        return format ? format->sources(name) : std::vector<std::string>();
    } catch (const Error&) { // reading the file reports the reason
        return {};
    }
}

bool FrameFile::looksLikeFrames(const std::string& path) {
    try {
        if (isFileSeries(path))
            return !filesOfSeries(path).paths.empty();
        return formatOfKind(fileKind(FileDescriptor::openForReading(splitDatasetPath(path).file)));
    } catch (const Error&) {
        return false;
    }
}

bool FrameOutput::isOutputPath(const std::string& path) {
    return formatOfOutput(path);
}

bool FrameOutput::hasPages(const std::string& path) {
    const Format* const format = formatOfOutput(path);
    return format && format->kind == FileKind::Tiff;
}

std::vector<std::string> FrameOutput::filesBeside(const std::string& path) {
    const Format* const format = formatOfOutput(path);
    return format ? format->filesBeside(path) : std::vector<std::string>();
}

std::unique_ptr<FrameOutput> FrameOutput::create(const OutputPlan& plan) {
    if (const Format* const format = formatOfOutput(plan.path))
        return format->create(plan);
    throw Error(plan.path +
                ": unknown output format; the file name must end in .h5, .hdf5, .nxs, .tif or .tiff");
}

std::optional<OutputState> FrameOutput::stateOf(const std::string& path) {
    if (!std::filesystem::exists(path))
        return std::nullopt;
    if (isBeingWritten(path))
        throw Error(path + ": another run is writing it; try again when it has ended");
    return formatOrFirst(path).state(path);
}

std::optional<OutputState> FrameOutput::stateToResume(const std::string& path, const std::string& record) {
    return formatOrFirst(path).stateToResume(path, record);
}

std::unique_ptr<FrameOutput> FrameOutput::resume(const OutputState& state) {
    return formatOrFirst(state.plan.path).resume(state);
}

std::vector<zt::u32> FrameOutput::touchedIn(const std::string& path) {
    return formatOrFirst(path).touched(path);
}

std::string FrameOutput::settingsIn(const std::string& path, std::size_t index) {
    return formatOrFirst(path).settings(path, index);
}

} // namespace ombrel
