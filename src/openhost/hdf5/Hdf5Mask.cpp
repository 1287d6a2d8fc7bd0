#include "hdf5/Hdf5Mask.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "hdf5/Hdf5Contents.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"
#include "hdf5/Hdf5Writer.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view maskNames[] = {"pixel_mask", "bad_pixel_mask", "bad_pixels"};
constexpr const char* ownPart = "/detectorSpecific";

bool isDataset(hid_t file, const std::string& path) {
    if (!mayExistInHdf5(file, path))
        return false;
    const Hdf5Object object = openHdf5Object(file, path);
    return object.isOpen() && H5Iget_type(object) == H5I_DATASET;
}

std::string maskIn(hid_t file, const std::string& group) {
    for (const std::string& place : {group, group + ownPart})
        for (const std::string_view name : maskNames)
            if (const std::string path = place + '/' + std::string(name); isDataset(file, path))
                return path;
    return {};
}

bool isDetector(hid_t file, const std::string& group) {
    const Hdf5Object object = openHdf5Object(file, group.empty() ? "/" : group);
    return object.isOpen() && textAttribute(object, "NX_class") == "NXdetector";
}

std::vector<std::string> membersOf(hid_t file, const std::string& group) {
    std::vector<std::string> members;
    const Hdf5Object object = openHdf5Object(file, group.empty() ? "/" : group);
    if (!object.isOpen() || H5Iget_type(object) != H5I_GROUP)
        return members;
    const auto add = [](hid_t, const char* name, const H5L_info_t*, void* names) -> herr_t {
        static_cast<std::vector<std::string>*>(names)->emplace_back(name);
        return 0;
    };
    H5Literate(object, H5_INDEX_NAME, H5_ITER_INC, nullptr, add, &members);
    for (std::string& member : members)
        member = group + '/' + member;
    return members;
}

// The detectors of an instrument: /entry/instrument/detector.
std::vector<std::string> detectorsOf(hid_t file) {
    std::vector<std::string> detectors;
    for (const std::string& entry : membersOf(file, ""))
        for (const std::string& instrument : membersOf(file, entry)) {
            if (!instrument.ends_with("/instrument"))
                continue;
            for (const std::string& member : membersOf(file, instrument))
                if (isDetector(file, member))
                    detectors.push_back(member);
        }
    return detectors;
}

} // namespace

bool isMaskDataset(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    return std::ranges::find(maskNames, name) != std::end(maskNames) || name.starts_with("pixel_mask_");
}

std::string maskBeside(hid_t file, const std::vector<std::string>& groups,
                       const std::optional<std::string>& ofDetector) {
    for (const std::string& group : groups)
        if (std::string path = maskIn(file, group); !path.empty())
            return path;
    if (std::ranges::any_of(groups, [&](const std::string& group) { return isDetector(file, group); }))
        return {};
    return ofDetector ? *ofDetector : maskOfDetector(file);
}

std::string maskOfDetector(hid_t file) {
    std::string found;
    for (const std::string& detector : detectorsOf(file)) {
        std::string path = maskIn(file, detector);
        if (!path.empty() && !found.empty())
            return {};
        if (!path.empty())
            found = std::move(path);
    }
    return found;
}

namespace {

// The type of masks in the file: a whole number, or a boolean, which is an enumeration of one byte.
struct MaskType {
    bool isBoolean;
    hid_t memory; // in which the values are read
};

std::optional<MaskType> maskTypeOf(hid_t type) {
    if (H5Tget_class(type) == H5T_ENUM && H5Tget_size(type) == 1)
        return MaskType{true, type};
    const auto pixelType = pixelTypeOfHdf5(type);
    if (H5Tget_class(type) != H5T_INTEGER || !pixelType)
        return std::nullopt;
    return MaskType{false, H5T_NATIVE_INT64};
}

// Numbers beyond the type in memory are clamped: its limits have all bits of a mask.
zt::u32 maskValue(zt::i64 value) {
    const auto bits = static_cast<zt::u32>(value);
    return bits != 0 || value == 0 ? bits : std::numeric_limits<zt::u32>::max();
}

// The numbers of values on each axis; empty for a dataset that can't be a mask.
std::vector<hsize_t> maskExtentOf(hid_t dataset) {
    const std::vector<hsize_t> extent = extentOf(Hdf5Space{H5Dget_space(dataset)});
    if (extent.size() < 2 || extent.size() > 4)
        return {};
    const hsize_t height = extent[extent.size() - 2];
    if (std::ranges::find(extent, 0U) != extent.end() ||
        extent.back() > std::numeric_limits<zt::u32>::max() / height)
        return {};
    return extent;
}

// Nothing for a dataset that can't be a mask.
std::optional<Hdf5MaskImage> imageAt(hid_t file, const std::string& path) {
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET)
        return std::nullopt;
    if (const auto problem = Hdf5Sources().problemOf(object))
        throw Error(path + ": " + *problem);
    const Hdf5Type type{H5Dget_type(object)};
    const auto kind = maskTypeOf(type);
    const std::vector<hsize_t> extent = maskExtentOf(object);
    if (!kind || extent.empty())
        return std::nullopt;
    return Hdf5MaskImage{path, static_cast<zt::u32>(extent.back()),
                         static_cast<zt::u32>(extent[extent.size() - 2]), kind->isBoolean};
}

// Of the first image.
std::vector<zt::u32> valuesOf(hid_t file, const Hdf5MaskImage& image) {
    const Hdf5Object object = openHdf5Object(file, image.dataset);
    const Hdf5Type type{H5Dget_type(object)};
    const auto kind = maskTypeOf(type);
    std::vector<hsize_t> extent = maskExtentOf(object);
    const hsize_t pixels = hsize_t{image.width} * image.height;
    if (!kind || kind->isBoolean != image.isBoolean || extent.empty() ||
        extent.back() * extent[extent.size() - 2] != pixels)
        throw Error(image.dataset + ": has changed since it was looked for");
    const Hdf5Space space{H5Dget_space(object)};
    const std::vector<hsize_t> start(extent.size(), 0);
    std::fill(extent.begin(), extent.end() - 2, 1);
    H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, extent.data(), nullptr);
    const Hdf5Space memory{H5Screate_simple(1, &pixels, nullptr)};
    std::vector<zt::i64> numbers(kind->isBoolean ? 0 : pixels);
    std::vector<zt::u8> booleans(kind->isBoolean ? pixels : 0);
    void* const target = kind->isBoolean ? static_cast<void*>(booleans.data()) : numbers.data();
    if (H5Dread(object, kind->memory, memory, space, H5P_DEFAULT, target) < 0)
        throw Error(image.dataset + ": cannot be read" + Hdf5Session::reason());
    std::vector<zt::u32> values(booleans.begin(), booleans.end());
    values.reserve(pixels);
    std::ranges::transform(numbers, std::back_inserter(values), maskValue);
    return values;
}

std::vector<std::string> datasetsIn(hid_t file) {
    const Hdf5Contents contents = listContents(file);
    std::vector<std::string> paths;
    for (const Hdf5Candidate& candidate : contents.candidates)
        paths.push_back(candidate.paths.front());
    paths.insert(paths.end(), contents.others.begin(), contents.others.end());
    std::ranges::stable_sort(paths, {},
                             [](const std::string& path) { return std::ranges::count(path, '/'); });
    return paths;
}

std::optional<Hdf5MaskImage> chooseImage(hid_t file) {
    const std::vector<std::string> paths = datasetsIn(file);
    for (const std::string& path : paths)
        if (isMaskDataset(path))
            if (auto image = imageAt(file, path))
                return image;
    std::optional<Hdf5MaskImage> only;
    for (const std::string& path : paths) {
        const Hdf5Object object = openHdf5Object(file, path);
        if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET ||
            H5Tget_class(Hdf5Type{H5Dget_type(object)}) != H5T_ENUM)
            continue;
        auto image = imageAt(file, path);
        if (image && only)
            return std::nullopt;
        if (image)
            only = std::move(image);
    }
    return only;
}

} // namespace

namespace {

// Calls `work` with the open file; its errors begin with the file's name.
template <typename Work>
auto withMaskFile(const std::string& path, Work work) {
    const Hdf5Session session;
    const Hdf5FileHandle file = openHdf5(path, "this HDF5 file is truncated or damaged");
    try {
        return work(file);
    } catch (const Error& error) {
        throw Error(path + ": " + error.what());
    }
}

} // namespace

std::optional<Hdf5MaskImage> findHdf5Mask(const std::string& path) {
    const DatasetPath place = splitDatasetPath(path);
    return withMaskFile(place.file, [&](hid_t file) {
        return place.dataset.empty() ? chooseImage(file) : imageAt(file, place.dataset);
    });
}

std::vector<zt::u32> readHdf5Mask(const std::string& file, const Hdf5MaskImage& image) {
    return withMaskFile(
        file, [&](hid_t open) { return valuesOf(open, image); });
}

void writeHdf5Mask(const std::string& path, zt::u32 width, zt::u32 height, std::span<const zt::u32> values) {
    AtomicFile file(path);
    const Hdf5Session session;
    Hdf5Writer writer(file.newPath(), path, 0, 0);
    const char* const mask = "/entry/instrument/detector/pixel_mask";
    writer.group("/entry", "NXentry");
    writer.group("/entry/instrument", "NXinstrument");
    writer.group("/entry/instrument/detector", "NXdetector");
    writer.group("/entry/mask", "NXdata");
    writer.value(mask, H5T_STD_U32LE, {height, width}, values.data());
    writer.link(mask, "/entry/mask/pixel_mask");
    writer.attribute("/", "default", {"entry"});
    writer.attribute("/entry", "default", {"mask"});
    writer.attribute("/entry/mask", "signal", {"pixel_mask"});
    writer.attribute(mask, "long_name",
                     {"0: good; bits 0 gap, 1 dead, 2 under-responding, 3 over-responding or hot, 4 noisy, "
                      "8 masked, 16 flickering, 17 bursting, 18 not finite"});
    writer.close();
    file.commit();
}

} // namespace ombrel
