#include "metadata/Metadata.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "hdf5/Hdf5File.h"
#include "hdf5/Hdf5Nexus.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"
#include "metadata/Hdf5Copy.h"
#include "metadata/PageTags.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>

namespace ombrel {

namespace {

constexpr const char* theta = "/exchange/theta";
constexpr const char* imageKey = "/entry/instrument/detector/image_key";
constexpr const char* rotationAngle = "/entry/sample/rotation_angle";

// A number or a text for each frame of the output.
struct Column {
    std::string source; // its path in the sources
    std::vector<double> values;
    std::vector<std::string> texts;
};

std::string classOf(hid_t file, const std::string& group) {
    const Hdf5Object object = openHdf5Object(file, group);
    return object.isOpen() ? textAttribute(object, "NX_class").value_or("") : "";
}

// The entry of an NXtomo that holds the frames; empty in other files.
std::string entryOf(hid_t file, const std::vector<std::string>& groups) {
    for (std::string group : groups)
        for (; group.size() > 1; group.resize(group.rfind('/')))
            if (const std::string name = classOf(file, group); name == "NXentry" || name == "NXsubentry")
                return group;
    return classOf(file, nexuslayout::entry) == "NXentry" ? nexuslayout::entry : "";
}

std::optional<std::vector<double>> numbersOf(hid_t file, const std::string& path, zt::u64 count) {
    try {
        if (auto numbers = numbersAt(file, path, count))
            return std::move(numbers->values);
    } catch (const Error&) { // their sources are missing
    }
    return std::nullopt;
}

// Texts of variable length, of which each is a pointer, or of a fixed one.
std::vector<std::string> readTexts(hid_t dataset, hid_t type, zt::u64 count) {
    std::vector<std::string> texts;
    if (H5Tis_variable_str(type) > 0) {
        std::vector<char*> pointers(count);
        if (H5Dread(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, pointers.data()) < 0)
            return {};
        for (const char* const pointer : pointers)
            texts.emplace_back(pointer ? pointer : "");
        H5Dvlen_reclaim(type, Hdf5Space{H5Dget_space(dataset)}, H5P_DEFAULT, pointers.data());
        return texts;
    }
    const std::size_t size = H5Tget_size(type);
    std::string bytes(size * count, '\0');
    if (H5Dread(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()) < 0)
        return {};
    for (zt::u64 i = 0; i < count; ++i) {
        const std::string text = bytes.substr(i * size, size);
        texts.push_back(text.substr(0, text.find('\0')));
    }
    return texts;
}

std::optional<std::vector<std::string>> textsOf(hid_t file, const std::string& path, zt::u64 count) {
    constexpr double mostRead = 1 << 24;
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET || Hdf5Sources().problemOf(object))
        return std::nullopt;
    const Hdf5Type type{H5Dget_type(object)};
    const Hdf5Space space{H5Dget_space(object)};
    if (H5Tget_class(type) != H5T_STRING ||
        H5Sget_simple_extent_npoints(space) != static_cast<hssize_t>(count) ||
        static_cast<double>(H5Tget_size(type)) * static_cast<double>(count) > mostRead)
        return std::nullopt;
    std::vector<std::string> texts = readTexts(object, type, count);
    return texts.size() == count ? std::optional(std::move(texts)) : std::nullopt;
}

bool isHdf5File(const std::string& path) {
    return fileKind(FileDescriptor::openForReading(splitDatasetPath(path).file)) == FileKind::Hdf5;
}

// One source, with the places of the output's frames among those that it stores.
class Source {
public:
    explicit Source(const FramesOfFile& frames) : file(frames.path, FrameRole::Sample) {
        for (zt::u32 frame = frames.begin; frame < frames.end; ++frame)
            stored.push_back(file.storedFrame(frame));
    }

    hid_t handle() const { return file.handle(); }
    zt::u32 frameCount() const { return file.storedFrames(); }
    const std::vector<std::string>& groups() const { return file.info().groups; }

    // Adds what the column holds for the output's frames. False without such a column.
    bool addTo(Column& column) const {
        auto all = numbersOf(handle(), column.source, frameCount());
        if (!all && column.source == theta)
            all = anglesOfSample();
        if (all)
            return addKept(*all, column.values);
        const auto texts = textsOf(handle(), column.source, frameCount());
        return texts && addKept(*texts, column.texts);
    }

private:
    template <typename T>
    bool addKept(const std::vector<T>& all, std::vector<T>& column) const {
        for (const zt::u32 frame : stored)
            column.push_back(all[frame]);
        return true;
    }

    // Some files count flat and dark frames in theta, but keep these frames in datasets of their own. Which
    // angles belong to the sample is known only if they mark all of these frames.
    std::optional<std::vector<double>> anglesOfSample() const {
        const auto& kinds = file.info().kinds;
        if (!kinds)
            return std::nullopt;
        const zt::u64 count = zt::u64{kinds->sample} + kinds->flat + kinds->dark;
        const auto all = numbersOf(handle(), theta, count);
        const auto keys = numbersOf(handle(), "/exchange/image_key", count);
        if (!all || !keys || std::ranges::count(*keys, 0.0) != frameCount())
            return std::nullopt;
        std::vector<double> angles;
        for (std::size_t i = 0; i < all->size(); ++i)
            if ((*keys)[i] == 0)
                angles.push_back((*all)[i]);
        return angles;
    }

    Hdf5File file;
    std::vector<zt::u32> stored;
};

class Metadata {
public:
    Metadata(const Source& firstSource, hid_t target) : first(firstSource), to(target) {
        Hdf5Copy copy(first.handle(), to, first.frameCount());
        const auto asItIs = [](hid_t, const std::string& place) {
            return place == "/process/ombrel" ? std::string() : place;
        };
        for (const char* group : {"/exchange", "/measurement", "/process"})
            copy.copyGroup(group, group, asItIs);
        copyEntry(copy);
        for (const auto& [place, source] : copy.columns())
            columns[place].source = source;
        columns[theta].source = theta;
        // Those that were copied have another length than the frames.
        for (const char* place : {theta, rotationAngle, "/exchange/image_key", imageKey})
            if (existsInHdf5(to, place))
                H5Ldelete(to, place, H5P_DEFAULT);
        append(first);
    }

    // A column that one source lacks is dropped.
    void append(const Source& source) {
        for (auto at = columns.begin(); at != columns.end();) {
            Column& column = at->second;
            const bool isThere = source.addTo(column) && (column.values.empty() || column.texts.empty());
            at = isThere ? std::next(at) : columns.erase(at);
        }
    }
    bool wantsMore() const { return !columns.empty(); }

    void write() const {
        for (const auto& [place, column] : columns)
            if (!existsInHdf5(to, place))
                column.texts.empty() ? writeColumn(place, column) : writeTexts(to, place, column.texts);
    }

private:
    // The groups that an NXtomo prescribes get its names.
    void copyEntry(Hdf5Copy& copy) const {
        const std::string entry = entryOf(first.handle(), first.groups());
        if (entry.empty())
            return;
        std::vector<Hdf5Identity> detectors;
        std::vector<Hdf5Object> objects;
        for (const std::string& group : first.groups())
            if (classOf(first.handle(), group) == "NXdetector") {
                objects.push_back(openHdf5Object(first.handle(), group));
                detectors.push_back(Hdf5Identity::of(objects.back()));
            }
        copy.copyGroup(entry, nexuslayout::entry, [&](hid_t group, const std::string& place) -> std::string {
            const std::string name = textAttribute(group, "NX_class").value_or("");
            if (std::ranges::find(detectors, Hdf5Identity::of(group)) != detectors.end())
                return nexuslayout::detector;
            if (name == "NXdata" || name == "NXsubentry") // views of the frames
                return {};
            return name == "NXsample"       ? nexuslayout::sample
                   : name == "NXinstrument" ? nexuslayout::instrument
                                            : place;
        });
    }

    // In the type and with the attributes of the first source.
    void writeColumn(const std::string& place, const Column& column) const {
        const Hdf5Object source = openHdf5Object(first.handle(), column.source);
        const Hdf5Type type{H5Dget_type(source)};
        const hsize_t count = column.values.size();
        const Hdf5Space space{H5Screate_simple(1, &count, nullptr)};
        const Hdf5Dataset made{
            H5Dcreate2(to, place.c_str(), type, space, creatingGroups(), H5P_DEFAULT, H5P_DEFAULT)};
        if (!made.isOpen() ||
            H5Dwrite(made, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, column.values.data()) < 0)
            throw Error(place + " cannot be written" + Hdf5Session::reason());
        copyAttributes(source, made);
    }

    const Source& first;
    hid_t to;
    std::map<std::string, Column> columns; // by their paths in the output
};

void linkTo(hid_t file, const char* existing, const char* name) {
    if (existsInHdf5(file, existing) && !existsInHdf5(file, name))
        H5Lcreate_hard(file, existing, file, name, creatingGroups(), H5P_DEFAULT);
}

// The angles become the first axis of the frames in viewers.
void nameAxes(hid_t file, const char* group, const char* angles) {
    const Hdf5Object object = openHdf5Object(file, group);
    if (!existsInHdf5(file, std::string(group) + '/' + angles) || H5Aexists(object, "axes") != 0)
        return;
    const Hdf5Type type{H5Tcopy(H5T_C_S1)};
    std::array<char[16], 3> names{"", ".", "."};
    std::copy_n(angles, std::string_view(angles).size() + 1, names[0]);
    const hsize_t count = names.size();
    const Hdf5Space space{H5Screate_simple(1, &count, nullptr)};
    H5Tset_size(type, sizeof names[0]);
    const Hdf5Attribute axes{H5Acreate2(object, "axes", type, space, H5P_DEFAULT, H5P_DEFAULT)};
    if (axes.isOpen())
        H5Awrite(axes, type, names.data());
}

void linkLayouts(hid_t file, bool isNexus) {
    linkTo(file, rotationAngle, theta);
    if (isNexus) {
        linkTo(file, theta, rotationAngle);
        linkTo(file, rotationAngle, "/entry/data/rotation_angle");
        linkTo(file, imageKey, "/entry/data/image_key");
        linkTo(file, "/exchange/title", "/entry/title");
        nameAxes(file, nexuslayout::view, "rotation_angle");
    }
    nameAxes(file, "/exchange", "theta");
}

// Calls `work` with the file open for writing.
template <typename Work>
void changeFile(const std::string& path, Work work) {
    const Hdf5Properties access{H5Pcreate(H5P_FILE_ACCESS)};
    H5Pset_file_locking(access, false, true);
    Hdf5FileHandle target{H5Fopen(path.c_str(), H5F_ACC_RDWR, access)};
    if (!target.isOpen())
        throw Error(path + ": cannot be opened" + Hdf5Session::reason());
    work(target);
    if (!target.close())
        throw Error(path + ": cannot be written" + Hdf5Session::reason());
}

zt::u64 countFrames(const std::vector<FramesOfFile>& sources) {
    zt::u64 frames = 0;
    for (const FramesOfFile& source : sources)
        frames += source.end - source.begin;
    return frames;
}

void addMetadata(const std::vector<FramesOfFile>& sources, hid_t target, bool isNexus) {
    const Source first(sources.front());
    Metadata metadata(first, target);
    for (std::size_t i = 1; i < sources.size() && metadata.wantsMore(); ++i)
        metadata.append(Source(sources[i]));
    metadata.write();
    linkLayouts(target, isNexus);
}

herr_t addDataset(hid_t, const char* name, const H5O_info_t* info, void* paths) {
    if (info->type == H5O_TYPE_DATASET)
        static_cast<std::vector<std::string>*>(paths)->push_back(std::string("/") + name);
    return 0;
}

} // namespace

std::vector<std::string> metadataOf(const FramesOfFile& frames) {
    if (!isHdf5File(frames.path))
        return {};
    const Hdf5Session session;
    const Hdf5Properties inMemory{H5Pcreate(H5P_FILE_ACCESS)};
    H5Pset_fapl_core(inMemory, std::size_t{1} << 16, false);
    const Hdf5FileHandle target{H5Fcreate("metadata", H5F_ACC_TRUNC, H5P_DEFAULT, inMemory)};
    std::vector<std::string> paths;
    if (!target.isOpen())
        return paths;
    addMetadata({frames}, target, false);
    H5Ovisit(target, H5_INDEX_NAME, H5_ITER_INC, addDataset, &paths);
    return paths;
}

void copyMetadata(const std::vector<FramesOfFile>& sources, const std::string& newFile, bool isNexus) {
    if (sources.empty())
        return;
    const Hdf5Session session;
    if (!std::ranges::all_of(sources, isHdf5File, &FramesOfFile::path)) {
        const ImageTags tags = imageTagsOf(sources);
        if (!tags.isEmpty())
            changeFile(newFile, [&](hid_t target) { writePageTags(target, tags, countFrames(sources)); });
        return;
    }
    changeFile(newFile, [&](hid_t target) { addMetadata(sources, target, isNexus); });
}

} // namespace ombrel
