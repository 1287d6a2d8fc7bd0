#include "hdf5/Hdf5File.h"

#include "base/Error.h"
#include "hdf5/Hdf5Contents.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Output.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace ombrel {

namespace {

using Candidates = std::vector<const Hdf5Candidate*>;

std::string parentOf(const std::string& path) {
    return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

std::string joined(const std::string& group, const std::string& name) {
    if (name.starts_with('/'))
        return name;
    return group.ends_with('/') ? group + name : group + '/' + name;
}

const Hdf5Candidate* candidateAt(hid_t file, const Hdf5Contents& contents, const std::string& path) {
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen())
        return nullptr;
    const auto found =
        std::ranges::find(contents.candidates, Hdf5Identity::of(object), &Hdf5Candidate::identity);
    return found == contents.candidates.end() ? nullptr : &*found;
}

bool isDetectorData(hid_t file, const std::string& path) {
    return path.ends_with("/data") &&
           textAttribute(openHdf5Object(file, parentOf(path)), "NX_class") == "NXdetector";
}

// Follows `default` from group to group, then `signal`; empty if a target is missing.
std::string signalledPath(hid_t file, std::string group) {
    constexpr int deepest = 16; // more than any real file has; stops circles
    for (int depth = 0; depth < deepest; ++depth) {
        const Hdf5Object object = openHdf5Object(file, group);
        if (!object.isOpen())
            return {};
        if (const auto next = textAttribute(object, "default"))
            group = joined(group, *next);
        else if (const auto signal = textAttribute(object, "signal"))
            return joined(group, *signal);
        else
            return {};
    }
    return {};
}

std::vector<std::string> topGroups(hid_t file) {
    std::vector<std::string> groups{"/"};
    const auto add = [](hid_t, const char* name, const H5L_info_t*, void* data) -> herr_t {
        static_cast<std::vector<std::string>*>(data)->push_back(std::string("/") + name);
        return 0;
    };
    H5Literate(file, H5_INDEX_NAME, H5_ITER_INC, nullptr, add, &groups);
    return groups;
}

// Many files have no `default` at their root, but one in their single entry.
Candidates signalledCandidates(hid_t file, const Hdf5Contents& contents) {
    Candidates found;
    for (const std::string& group : topGroups(file)) {
        const std::string path = signalledPath(file, group);
        const auto* candidate = path.empty() ? nullptr : candidateAt(file, contents, path);
        if (candidate && std::ranges::find(found, candidate) == found.end())
            found.push_back(candidate);
    }
    return found;
}

Candidates detectorCandidates(hid_t file, const Hdf5Contents& contents) {
    Candidates found;
    for (const Hdf5Candidate& candidate : contents.candidates)
        if (std::ranges::any_of(candidate.paths,
                                [&](const auto& path) { return isDetectorData(file, path); }))
            found.push_back(&candidate);
    return found;
}

Candidates common(const Candidates& some, const Candidates& others) {
    Candidates both;
    std::ranges::copy_if(some, std::back_inserter(both),
                         [&](const auto* one) { return std::ranges::find(others, one) != others.end(); });
    return both;
}

// The list may be long: the first few entries show the kind of file.
std::string listText(const std::vector<std::string>& entries) {
    constexpr std::size_t shown = 12;
    std::string text;
    for (std::size_t index = 0; index < std::min(shown, entries.size()); ++index)
        text += (index == 0 ? "" : ", ") + entries[index];
    return entries.size() > shown ? text + " and " + std::to_string(entries.size() - shown) + " more" : text;
}

std::vector<std::string> describe(const Candidates& candidates) {
    std::vector<std::string> entries;
    for (const Hdf5Candidate* candidate : candidates)
        entries.push_back("::" + candidate->paths.front() + " (" +
                          candidate->problem.value_or(shapeText(candidate->shape)) + ")");
    return entries;
}

Candidates allOf(const Hdf5Contents& contents) {
    Candidates all;
    for (const Hdf5Candidate& candidate : contents.candidates)
        all.push_back(&candidate);
    return all;
}

[[noreturn]] void refuseNone(const std::string& file, const Hdf5Contents& contents) {
    throw Error(file + ": holds no frames, which are numbers of rank 2 to 4; it holds " +
                (contents.others.empty() ? "no dataset" : listText(contents.others)));
}

// If no dataset is marked as the frames, they may be the target of a link into a missing file.
void refuseDeadLinks(const std::string& file, const Hdf5Contents& contents) {
    if (!contents.deadLinks.empty())
        throw Error(file + ": " + listText(contents.deadLinks) +
                    "; restore the file, or select a dataset with FILE::/path/of/dataset");
}

[[noreturn]] void refuseSeveral(const std::string& file, const Candidates& candidates) {
    std::vector<DatasetChoice> choices;
    for (const Hdf5Candidate* candidate : candidates)
        choices.push_back({candidate->paths.front(), shapeText(candidate->shape)});
    throw SeveralDatasets(file + ": several datasets could hold the frames; add one of these: " +
                              listText(describe(candidates)),
                          file, std::move(choices));
}

Hdf5Selection selection(const std::string& file, const Hdf5Candidate& candidate, const std::string& path) {
    if (candidate.problem)
        throw Error(file + ": " + path + ": " + *candidate.problem);
    Hdf5Selection selected{path, {parentOf(path)}};
    for (const std::string& other : candidate.paths)
        if (other != path)
            selected.groups.push_back(parentOf(other));
    return selected;
}

// The dataset of the Data Exchange layout, if the file has it.
std::optional<Hdf5Selection> selectExchange(hid_t file, const std::string& fileName,
                                            const Hdf5Contents& contents, FrameRole role) {
    const std::string data = "/exchange/data";
    std::vector<std::string> paths{data};
    if (role == FrameRole::Flat)
        paths.insert(paths.begin(), "/exchange/data_white");
    if (role == FrameRole::Dark)
        paths.insert(paths.begin(), "/exchange/data_dark");
    for (const std::string& path : paths)
        if (const auto* candidate = candidateAt(file, contents, path))
            return selection(fileName, *candidate, path);
    return std::nullopt;
}

Hdf5Selection selectNamed(hid_t file, const DatasetPath& path, const Hdf5Contents& contents) {
    if (const auto* candidate = candidateAt(file, contents, path.dataset))
        return selection(path.file, *candidate, path.dataset);
    if (const auto dead = deadLinkOn(file, path.dataset))
        throw Error(path.file + ": " + dead->text + "; no frames can be read from " + path.dataset);
    const bool exists = openHdf5Object(file, path.dataset).isOpen();
    const Candidates others = allOf(contents);
    throw Error(path.file + ": " + path.dataset +
                (exists ? " is not a dataset of numbers of rank 2 to 4" : " does not exist") +
                (others.empty() ? "" : "; the file holds " + listText(describe(others))));
}

Hdf5Selection selectByStructure(hid_t file, const std::string& fileName, const Hdf5Contents& contents) {
    const Candidates signalled = signalledCandidates(file, contents);
    Candidates left = detectorCandidates(file, contents);
    if (left.size() != 1) {
        const Candidates decided = left.empty() ? signalled : common(left, signalled);
        if (left.empty() && decided.empty())
            refuseDeadLinks(fileName, contents);
        left = !decided.empty() ? decided : left.empty() ? allOf(contents) : left;
    }
    if (left.empty())
        refuseNone(fileName, contents);
    if (left.size() > 1)
        refuseSeveral(fileName, left);
    const std::vector<std::string>& paths = left.front()->paths;
    const auto detector =
        std::ranges::find_if(paths, [&](const auto& path) { return isDetectorData(file, path); });
    return selection(fileName, *left.front(), detector == paths.end() ? paths.front() : *detector);
}

} // namespace

Hdf5Selection selectDataset(hid_t file, const DatasetPath& path, FrameRole role) {
    const Hdf5Contents contents = listContents(file);
    if (!path.dataset.empty())
        return selectNamed(file, path, contents);
    const auto exchange = selectExchange(file, path.file, contents, role);
    return exchange ? *exchange : selectByStructure(file, path.file, contents);
}

namespace {

// The values of image_key.
enum ImageKey { SAMPLE_KEY = 0, FLAT_KEY = 1, DARK_KEY = 2 };

// The first dataset with that name and that many numbers, next to the frames or another link to them.
std::optional<Hdf5Numbers> numbersBeside(hid_t file, const std::vector<std::string>& groups,
                                         const std::string& name, zt::u64 count) {
    for (const std::string& group : groups)
        if (auto numbers = numbersAt(file, group + '/' + name, count))
            return numbers;
    return std::nullopt;
}

zt::u32 framesAt(hid_t file, const std::string& path) {
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET || Hdf5Sources().problemOf(object))
        return 0;
    const auto shape = shapeOfImages(object);
    return shape ? shape->frames() : 0;
}

// Files in the Data Exchange layout keep flat and dark fields in datasets of their own.
std::optional<FrameKinds> exchangeKinds(hid_t file) {
    const FrameKinds kinds{framesAt(file, "/exchange/data"), framesAt(file, "/exchange/data_white"),
                           framesAt(file, "/exchange/data_dark")};
    return kinds.flat + kinds.dark > 0 ? std::optional(kinds) : std::nullopt;
}

} // namespace

Hdf5File::Hdf5File(const std::string& path, FrameRole role) {
    const Hdf5Session session;
    const DatasetPath place = splitDatasetPath(path);
    file = openHdf5(place.file, "this HDF5 file is truncated or damaged");
    const Hdf5Selection selection = selectDataset(file, place, role);
    images.emplace(file, selection.dataset, place.file);
    fillInfo(path, selection.dataset);
    readTimes(selection.groups);
    chooseFrames(role, selection.groups);
    if (fileInfo.acqTime)
        fileInfo.acqTime = acqTime(0);
}

void Hdf5File::fillInfo(const std::string& path, const std::string& dataset) {
    const Hdf5Shape& shape = images->shape();
    fileInfo.path = path;
    fileInfo.format = "HDF5";
    fileInfo.dataset = dataset;
    fileInfo.width = shape.width();
    fileInfo.height = shape.height();
    fileInfo.pixelType = shape.pixelType;
    fileInfo.frames = shape.frames();
    fileInfo.subFrames = shape.subFrames();
    if (dataset == outputlayout::data)
        fileInfo.run = readRunState(file, shape.frames());
    if (fileInfo.run)
        fileInfo.frames = std::min(fileInfo.frames, fileInfo.run->framesDone);
    if (fileInfo.frames == 0)
        throw Error(path + ": the run that wrote this file completed no frame");
}

void Hdf5File::readTimes(const std::vector<std::string>& groups) {
    const zt::u32 frames = images->shape().frames();
    auto time = numbersBeside(file, groups, "count_time", frames);
    if (!time)
        time = numbersBeside(file, groups, "count_time", 1);
    if (!time)
        return;
    const double factor = secondsPerUnit(time->unit);
    for (double& seconds : time->values)
        seconds = std::isfinite(seconds) && seconds > 0 ? seconds * factor : 0;
    fileInfo.acqTime = time->values.front();
    if (time->values.size() == frames)
        times = std::move(time->values);
}

double Hdf5File::secondsPerUnit(const std::string& unit) const {
    if (unit.find_first_not_of(" \t\r\n") == std::string::npos)
        return 1;
    try {
        return secondsIn(unit);
    } catch (const Error& error) {
        throw Error(fileInfo.path + ": the acquisition time (count_time): " + error.what());
    }
}

void Hdf5File::chooseFrames(FrameRole role, const std::vector<std::string>& groups) {
    const zt::u32 frames = images->shape().frames();
    const auto keys = numbersBeside(file, groups, "image_key", frames);
    if (!keys) {
        if (fileInfo.dataset.starts_with("/exchange/"))
            fileInfo.kinds = exchangeKinds(file);
        return;
    }
    const auto count = [&](ImageKey key) {
        return static_cast<zt::u32>(std::ranges::count(keys->values, static_cast<double>(key)));
    };
    fileInfo.kinds = FrameKinds{count(SAMPLE_KEY), count(FLAT_KEY), count(DARK_KEY)};
    if (role == FrameRole::Any)
        return;
    const double wanted = role == FrameRole::Flat   ? FLAT_KEY
                          : role == FrameRole::Dark ? DARK_KEY
                                                    : SAMPLE_KEY;
    for (zt::u32 frame = 0; frame < frames; ++frame)
        if (keys->values[frame] == wanted)
            chosen.push_back(frame);
    if (chosen.empty())
        throw Error(fileInfo.path + ": no frame is marked as " +
                    (role == FrameRole::Flat   ? "a flat field (image_key 1)"
                     : role == FrameRole::Dark ? "a dark field (image_key 2)"
                                               : "one of the sample (image_key 0)"));
    fileInfo.frames = static_cast<zt::u32>(chosen.size());
}

double Hdf5File::acqTime(zt::u32 frame) const {
    return times.empty() ? fileInfo.acqTime.value_or(0) : times[storedFrame(frame)];
}

std::optional<FrameFile::RawImage> Hdf5File::rawImage(zt::u32 frame, zt::u32 subFrame) const {
    if (const FileDescriptor* const raw = images->rawFile())
        return RawImage{*raw, images->rawOffset(storedFrame(frame), subFrame)};
    return std::nullopt;
}

void Hdf5File::readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) {
    const Hdf5Session session;
    try {
        images->read(storedFrame(frame), subFrame, pixels);
    } catch (const Error& error) {
        throw Error(where(frame) + ": " + error.what());
    }
}

std::vector<std::string> hdf5FilesOf(const std::string& path) {
    const Hdf5Session session;
    return listContents(openHdf5(path, "this HDF5 file is truncated or damaged")).files;
}

} // namespace ombrel
