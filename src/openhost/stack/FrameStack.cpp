#include "stack/FrameStack.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/FrameOutput.h"
#include "stack/InputFiles.h"
#include "zt/Types.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>
#include <sys/stat.h>
#include <utility>

namespace ombrel {

namespace {

std::string pathAndSize(const FrameFileInfo& info) {
    return info.path + " has " + sizeText(info.width, info.height);
}

} // namespace

void UnusedDarks::add(const FrameFileInfo& info) {
    if (info.kinds && info.kinds->dark > 0 && !info.dataset.ends_with("/data_dark"))
        counts[info.path] = info.kinds->dark;
}

std::string UnusedDarks::text(const std::string& reason) const {
    if (counts.empty())
        return {};
    zt::u64 frames = 0;
    for (const auto& [path, count] : counts)
        frames += count;
    const std::string files = counts.size() == 1 ? "" : " and " + countText(counts.size() - 1, "more file");
    return counts.begin()->first + files + ": not used: " + countText(frames, "dark frame") + "; " + reason;
}

FrameStack::FrameStack(const std::vector<std::string>& inputs, FrameRole wantedRole) : role(wantedRole) {
    if (inputs.empty())
        throw Error("no input files");
    for (const std::string& input : inputs)
        if (isFileSeries(input))
            addSeries(input);
        else
            addFile(input);
}

namespace {

using FileIdentity = std::pair<dev_t, ino_t>;

FileIdentity identityOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? FileIdentity(status.st_dev, status.st_ino) : FileIdentity();
}

// The files from which others of the series read their frames: the data files of a master.
std::set<FileIdentity> linkedFiles(const std::vector<FrameFileInfo>& infos) {
    std::set<FileIdentity> linked;
    for (const FrameFileInfo& info : infos)
        for (const std::string& source : info.sources)
            if (identityOf(source) != identityOf(splitDatasetPath(info.path).file))
                linked.insert(identityOf(source));
    return linked;
}

// An output of ombrel in the folder of its input must not become an input of the next run.
bool isOutput(const FrameFileInfo& info) {
    return info.run || std::ranges::any_of(
                           FrameOutput::filesBeside(info.path),
                           [](const std::string& path) { return std::filesystem::exists(path); });
}

} // namespace

// The first file that stands alone is the model of the following ones.
std::vector<FrameFileInfo> FrameStack::openAll(const std::vector<std::string>& paths,
                                               std::shared_ptr<const FrameFileInfo>& model) const {
    std::vector<FrameFileInfo> infos;
    for (const std::string& path : paths) {
        infos.push_back(FrameFile::open(path, role, model.get())->info());
        FrameFileInfo& info = infos.back();
        if (!model && !info.run && info.sources.empty())
            model = std::make_shared<FrameFileInfo>(info);
        if (model && info.groups == model->groups)
            info.groups = {}; // a file of a long series keeps few bytes
    }
    return infos;
}

void FrameStack::addSeries(const std::string& input) {
    InputFiles files = filesOfSeries(input);
    std::shared_ptr<const FrameFileInfo> model;
    const std::vector<FrameFileInfo> infos = openAll(files.paths, model);
    const std::set<FileIdentity> linked = linkedFiles(infos);
    const bool allOutputs = std::ranges::all_of(infos, isOutput);
    for (const FrameFileInfo& info : infos)
        if ((!allOutputs && isOutput(info)) || linked.contains(identityOf(splitDatasetPath(info.path).file)))
            files.others.push_back(std::filesystem::path(info.path).filename().string());
        else
            addPart(info, model);
    if (parts.empty())
        throw Error(input + ": its files refer to each other; give the file to read");
    const std::string text = passedOverText(input, files.others);
    others += (others.empty() || text.empty() ? "" : "; ") + text;
}

void FrameStack::addFile(const std::string& path) {
    auto file = FrameFile::open(path, role);
    addPart(file->info(), std::make_shared<FrameFileInfo>(file->info()));
    keepOpen(parts.size() - 1, std::move(file));
}

void FrameStack::addPart(const FrameFileInfo& info, const std::shared_ptr<const FrameFileInfo>& model) {
    const FrameFileInfo& first = parts.empty() ? info : parts.front().info;
    if (info.width != first.width || info.height != first.height)
        throw Error("the frames differ in size: " + pathAndSize(first) + ", but " + pathAndSize(info));
    if (role == FrameRole::Sample || role == FrameRole::Flat)
        darks.add(info);
    const zt::u64 begin = parts.empty() ? 0 : parts.back().end;
    parts.push_back({info, model, begin, begin + info.frames});
}

std::vector<std::string> FrameStack::paths() const {
    std::vector<std::string> paths;
    for (const Part& part : parts)
        paths.push_back(part.info.path);
    return paths;
}

std::vector<FramesOfFile> FrameStack::filesOf(zt::u64 begin, zt::u64 end) const {
    std::vector<FramesOfFile> files;
    for (const Part& part : parts)
        if (part.begin < end && begin < part.end)
            files.push_back({part.info.path, static_cast<zt::u32>(std::max(begin, part.begin) - part.begin),
                             static_cast<zt::u32>(std::min(end, part.end) - part.begin)});
    return files;
}

bool FrameStack::readsInAnyOrder() const {
    return std::ranges::all_of(
        parts, [](const Part& part) { return part.info.inAnyOrder; });
}

std::size_t FrameStack::partOf(zt::u64 frame) const {
    return static_cast<std::size_t>(std::ranges::upper_bound(parts, frame, {}, &Part::end) - parts.begin());
}

// Files are opened without the lock, so that threads that read different files do not wait for each other.
std::shared_ptr<FrameFile> FrameStack::fileOf(std::size_t part) {
    if (auto file = openFileOf(part))
        return file;
    const std::shared_ptr<FrameFile> file = openAgain(part);
    std::shared_ptr<FrameFile> evicted; // closed after the lock is released
    const std::lock_guard lock(openMutex);
    if (auto opened = findOpen(part)) // another thread was faster
        return opened;
    evicted = keepOpen(part, file);
    return file;
}

std::shared_ptr<FrameFile> FrameStack::openFileOf(std::size_t part) {
    const std::lock_guard lock(openMutex);
    return findOpen(part);
}

std::shared_ptr<FrameFile> FrameStack::findOpen(std::size_t part) {
    const auto found = std::ranges::find(open, part, &OpenFile::part);
    if (found == open.end())
        return nullptr;
    std::rotate(found, found + 1, open.end());
    return open.back().file;
}

std::shared_ptr<FrameFile> FrameStack::openAgain(std::size_t part) const {
    const FrameFileInfo& before = parts[part].info;
    auto file = FrameFile::open(before.path, role, parts[part].model.get());
    const FrameFileInfo& now = file->info();
    if (now.width != before.width || now.height != before.height || now.pixelType != before.pixelType ||
        now.frames < before.frames || now.subFrames != before.subFrames)
        throw Error(before.path + ": the file has changed since it was opened first");
    return file;
}

std::shared_ptr<FrameFile> FrameStack::keepOpen(std::size_t part, std::shared_ptr<FrameFile> file) {
    constexpr std::size_t mostOpen = 8;
    std::shared_ptr<FrameFile> evicted;
    if (open.size() == mostOpen) {
        evicted = std::move(open.front().file);
        open.erase(open.begin());
    }
    open.push_back({part, std::move(file)});
    return evicted;
}

FrameStack::Place FrameStack::placeOf(zt::u64 frame) {
    const std::size_t part = partOf(frame);
    return {fileOf(part), static_cast<zt::u32>(frame - parts[part].begin)};
}

FramePtr FrameStack::readFrame(zt::u64 frame, PixelDigest* digest) {
    const Place place = placeOf(frame);
    return place.file->readFrame(place.frame, digest);
}

double FrameStack::acqTime(zt::u64 frame) {
    const Part& part = parts[partOf(frame)];
    if (frame == part.begin || !part.info.acqTime) // known without opening the file again
        return part.info.acqTime.value_or(0);
    const Place place = placeOf(frame);
    return place.file->acqTime(place.frame);
}

zt::u8 FrameStack::pixelType(zt::u64 frame) const {
    const FrameFileInfo& info = parts[partOf(frame)].info;
    return info.subFrames == 0 ? info.pixelType
                               : static_cast<zt::u8>(zt::DT_DOUBLE); // the sum of its sub-frames
}

std::string FrameStack::where(zt::u64 frame) const {
    const Part& part = parts[partOf(frame)];
    return frameText(part.info.path, static_cast<zt::u32>(frame - part.begin));
}

FrameSeries::FrameSeries(const std::string& input, FrameRole role) : stack({input}, role) {
    fileInfo = stack.info(0);
    fileInfo.path = input;
    fileInfo.format += ", " + countText(stack.fileCount(), "file");
    fileInfo.run.reset();
    fileInfo.inAnyOrder = stack.readsInAnyOrder();
    if (stack.frameCount() > std::numeric_limits<zt::u32>::max())
        throw Error(input + ": holds too many frames");
    fileInfo.frames = static_cast<zt::u32>(stack.frameCount());
    fileInfo.passedOver = stack.passedOver();
    for (std::size_t file = 1; file < stack.fileCount(); ++file) {
        const FrameFileInfo& info = stack.info(file);
        if (info.pixelType != fileInfo.pixelType || info.subFrames != fileInfo.subFrames)
            throw Error(info.path + ": its pixels differ in type from those of " + stack.info(0).path);
        if (fileInfo.kinds && info.kinds)
            *fileInfo.kinds = {fileInfo.kinds->sample + info.kinds->sample,
                               fileInfo.kinds->flat + info.kinds->flat,
                               fileInfo.kinds->dark + info.kinds->dark};
    }
}

void FrameSeries::readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) {
    const FrameStack::Place place = stack.placeOf(frame);
    place.file->readImage(place.frame, subFrame, pixels);
}

double FrameSeries::acqTime(zt::u32 frame) const {
    return stack.acqTime(frame);
}

} // namespace ombrel
