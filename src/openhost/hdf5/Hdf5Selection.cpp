#include "hdf5/Hdf5Selection.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "hdf5/Hdf5Contents.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>

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
    std::vector<std::string> texts;
    for (const auto& [path, text] : contents.deadLinks)
        texts.push_back(text);
    if (!texts.empty())
        throw Error(file + ": " + listText(texts) +
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
    Hdf5Selection selected{{path}, {parentOf(path)}, {}};
    for (const std::string& other : candidate.paths)
        if (other != path)
            selected.groups.push_back(parentOf(other));
    return selected;
}

// The number of a dataset such as "data_000012", for which detectors link one file each.
std::optional<zt::u64> numberInName(const std::string& path) {
    constexpr std::string_view prefix = "data_";
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    const bool isNumbered =
        name.starts_with(prefix) && name.size() > prefix.size() &&
        std::ranges::all_of(name.substr(prefix.size()), [](char c) { return c >= '0' && c <= '9'; });
    return isNumbered ? readNumber<zt::u64>(name.substr(prefix.size())) : std::nullopt;
}

using Numbered = std::map<zt::u64, std::pair<std::string, const Hdf5Candidate*>>;

// The numbered datasets of a group.
Numbered numberedIn(const Hdf5Contents& contents, const std::string& group) {
    Numbered found;
    for (const Hdf5Candidate& candidate : contents.candidates)
        for (const std::string& path : candidate.paths)
            if (const auto number = numberInName(path); number && parentOf(path) == group)
                found.emplace(*number, std::pair(path, &candidate));
    return found;
}

// Numbered datasets as one stack. A file that was not copied must not go unnoticed.
Hdf5Selection selectNumbered(const std::string& file, const Hdf5Contents& contents,
                             const Numbered& numbered) {
    const std::string group = parentOf(numbered.begin()->second.first);
    for (const auto& [path, text] : contents.deadLinks)
        if (parentOf(path) == group && numberInName(path))
            throw Error(file + ": " + text + "; restore that file, or select a dataset with FILE::" + path);
    Hdf5Selection selected;
    zt::u64 expected = numbered.begin()->first;
    for (const auto& [number, found] : numbered) {
        const auto& [path, candidate] = found;
        if (number != expected++)
            throw Error(file + ": " + path + " follows " + selected.datasets.back() +
                        ", but a dataset between them is missing");
        Hdf5Selection one = selection(file, *candidate, path);
        if (selected.datasets.empty())
            selected.groups = std::move(one.groups);
        selected.datasets.push_back(path);
    }
    if (contents.detectors.size() == 1)
        selected.groups.push_back(contents.detectors.front());
    return selected;
}

// The group of numbered datasets if there is exactly one; else empty.
Numbered onlyNumbered(const Hdf5Contents& contents) {
    std::set<std::string> groups;
    for (const Hdf5Candidate& candidate : contents.candidates)
        for (const std::string& path : candidate.paths)
            if (numberInName(path))
                groups.insert(parentOf(path));
    return groups.size() == 1 ? numberedIn(contents, *groups.begin()) : Numbered();
}

// The dataset of the Data Exchange layout, if the file has it. Frames of a file that also holds flat fields
// are those of the sample, and no dark fields.
std::optional<Hdf5Selection> selectExchange(hid_t file, const std::string& fileName,
                                            const Hdf5Contents& contents, FrameRole role) {
    const std::string data = "/exchange/data";
    std::vector<std::string> paths{data};
    if (role == FrameRole::Flat)
        paths.insert(paths.begin(), "/exchange/data_white");
    if (role == FrameRole::Dark)
        paths.insert(paths.begin(), "/exchange/data_dark");
    for (const std::string& path : paths) {
        const auto* const candidate = candidateAt(file, contents, path);
        if (candidate && role == FrameRole::Dark && path == data &&
            candidateAt(file, contents, "/exchange/data_white"))
            throw Error(fileName + ": holds frames of the sample and flat fields, but no dark fields "
                                   "(/exchange/data_dark)");
        if (candidate)
            return selection(fileName, *candidate, path);
    }
    return std::nullopt;
}

// A dataset that can be opened by its path, without a list of the file.
std::optional<Hdf5Selection> selectDirectly(hid_t file, const std::string& path,
                                            std::vector<std::string> groups) {
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET)
        return std::nullopt;
    Hdf5Sources sources;
    if (sources.problemOf(object) || !shapeOfImages(object))
        return std::nullopt;
    Hdf5Selection selected{{path}, std::move(groups), sources.files()};
    selected.files.push_back(hdf5FileName(object));
    return selected;
}

// A dataset with a known path. Its other paths are known too, since the numbers of its frames may be there.
std::optional<Hdf5Selection> selectByName(hid_t file, const DatasetPath& path) {
    const auto names = namesInHdf5(path.file);
    const auto found = names->datasets.find(path.dataset);
    if (found == names->datasets.end())
        return std::nullopt;
    std::vector<std::string> groups{parentOf(path.dataset)};
    for (const std::string& other : *found->second)
        if (other != path.dataset)
            groups.push_back(parentOf(other));
    auto selected = selectDirectly(file, path.dataset, std::move(groups));
    if (selected) {
        selected->files = names->files;
        selected->detectorMask = names->detectorMask;
    }
    return selected;
}

Hdf5Selection selectNamed(hid_t file, const DatasetPath& path, const Hdf5Contents& contents) {
    if (const auto* candidate = candidateAt(file, contents, path.dataset))
        return selection(path.file, *candidate, path.dataset);
    const std::string group = path.dataset.substr(0, path.dataset.find_last_not_of('/') + 1);
    if (const Numbered numbered = numberedIn(contents, group); !numbered.empty())
        return selectNumbered(path.file, contents, numbered);
    if (const auto dead = deadLinkOn(file, path.dataset))
        throw Error(path.file + ": " + dead->text + "; no frames can be read from " + path.dataset);
    const bool exists = openHdf5Object(file, path.dataset).isOpen();
    const Candidates others = allOf(contents);
    throw Error(path.file + ": " + path.dataset +
                (exists ? " is not a dataset of numbers of rank 2 to 4" : " does not exist") +
                (others.empty() ? "" : "; the file holds " + listText(describe(others))));
}

// Some masters mark the first of their datasets.
bool isAmong(const Numbered& numbered, const Candidates& marked) {
    return marked.size() == 1 &&
           std::ranges::any_of(
               numbered, [&](const auto& entry) { return entry.second.second == marked.front(); });
}

Hdf5Selection selectByStructure(hid_t file, const std::string& fileName, const Hdf5Contents& contents) {
    const Candidates signalled = signalledCandidates(file, contents);
    Candidates left = detectorCandidates(file, contents);
    if (left.size() != 1) {
        const Candidates decided = left.empty() ? signalled : common(left, signalled);
        if (const Numbered numbered = onlyNumbered(contents);
            left.empty() && (decided.empty() || isAmong(numbered, decided)) && !numbered.empty())
            return selectNumbered(fileName, contents, numbered);
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

std::string Hdf5Selection::text() const {
    const std::string& last = datasets.back();
    return datasets.size() == 1 ? last : datasets.front() + " to " + last.substr(last.rfind('/') + 1);
}

Hdf5Selection selectDataset(hid_t file, const DatasetPath& path, FrameRole role) {
    if (!path.dataset.empty())
        if (auto named = selectByName(file, path))
            return std::move(*named);
    Hdf5Contents contents = listContents(file);
    const auto select = [&] {
        if (!path.dataset.empty())
            return selectNamed(file, path, contents);
        const auto exchange = selectExchange(file, path.file, contents, role);
        return exchange ? *exchange : selectByStructure(file, path.file, contents);
    };
    Hdf5Selection selected = select();
    selected.files = std::move(contents.files);
    return selected;
}

std::optional<Hdf5Selection> selectAlike(hid_t file, const std::string& path, const FrameFileInfo& other) {
    const bool isPlain = other.sources.empty() && !other.run && !other.groups.empty();
    const bool mayBeOutput = H5Lexists(file, "/process", H5P_DEFAULT) > 0;
    if (!isPlain || mayBeOutput)
        return std::nullopt;
    auto selected = selectDirectly(file, other.dataset, other.groups);
    return selected && selected->files == std::vector{path} ? std::move(selected) : std::nullopt;
}

} // namespace ombrel
