#include "metadata/Hdf5Copy.h"

#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"

#include <algorithm>
#include <cstddef>

namespace ombrel {

namespace {

constexpr double largestDataset = 1 << 20;
constexpr hssize_t largestMatrix = 64; // of numbers; larger ones are images
constexpr double mostBytes = 1 << 24;  // of one output
constexpr zt::u64 mostObjects = 20'000;
constexpr std::size_t deepestGroup = 32;

std::vector<std::string> namesIn(hid_t group) {
    std::vector<std::string> names;
    const auto add = [](hid_t, const char* name, const H5L_info_t*, void* data) -> herr_t {
        auto& list = *static_cast<std::vector<std::string>*>(data);
        list.push_back(name);
        return list.size() < mostObjects ? 0 : 1;
    };
    H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, nullptr, add, &names);
    return names;
}

bool refersToObjects(hid_t type) {
    return H5Tdetect_class(type, H5T_REFERENCE) != 0;
}

struct CopyAttribute {
    hid_t to;

    static herr_t call(hid_t object, const char* name, const H5A_info_t*, void* data) {
        copy(object, name, static_cast<CopyAttribute*>(data)->to);
        return 0;
    }

    static void copy(hid_t object, const char* name, hid_t target) {
        constexpr std::size_t largest = 65536;
        if (H5Aexists(target, name) != 0)
            return;
        const Hdf5Attribute source{H5Aopen(object, name, H5P_DEFAULT)};
        const Hdf5Type type{H5Aget_type(source)};
        const Hdf5Space space{H5Aget_space(source)};
        const hssize_t count = H5Sget_simple_extent_npoints(space);
        if (count <= 0 || refersToObjects(type) ||
            static_cast<double>(count) * static_cast<double>(H5Tget_size(type)) > largest)
            return;
        std::vector<std::byte> bytes(static_cast<std::size_t>(count) * H5Tget_size(type));
        if (H5Aread(source, type, bytes.data()) < 0)
            return;
        const Hdf5Attribute made{H5Acreate2(target, name, type, space, H5P_DEFAULT, H5P_DEFAULT)};
        if (made.isOpen())
            H5Awrite(made, type, bytes.data());
        if (H5Tdetect_class(type, H5T_VLEN) > 0 || H5Tis_variable_str(type) > 0)
            H5Dvlen_reclaim(type, space, H5P_DEFAULT, bytes.data());
    }
};

} // namespace

void copyAttributes(hid_t from, hid_t to) {
    CopyAttribute work{to};
    H5Aiterate2(from, H5_INDEX_NAME, H5_ITER_INC, nullptr, CopyAttribute::call, &work);
}

bool existsInHdf5(hid_t file, const std::string& path) {
    return openHdf5Object(file, path).isOpen();
}

Hdf5Properties creatingGroups() {
    Hdf5Properties properties{H5Pcreate(H5P_LINK_CREATE)};
    H5Pset_create_intermediate_group(properties, 1);
    return properties;
}

void Hdf5Copy::copyGroup(const std::string& group, const std::string& place, const Place& placeOf) {
    const Hdf5Object object = openHdf5Object(from, group);
    if (object.isOpen() && H5Iget_type(object) == H5I_GROUP)
        copyTree(object, group, place, placeOf);
}

void Hdf5Copy::copyTree(const Hdf5Object& group, const std::string& path, const std::string& place,
                        const Place& placeOf) {
    const auto identity = Hdf5Identity::of(group);
    if (open.size() == deepestGroup || std::ranges::find(open, identity) != open.end())
        return;
    open.push_back(identity);
    if (!existsInHdf5(to, place))
        Hdf5Group{H5Gcreate2(to, place.c_str(), creatingGroups(), H5P_DEFAULT, H5P_DEFAULT)};
    copyAttributes(group, openHdf5Object(to, place));
    for (const std::string& name : namesIn(group)) {
        if (++objectsSeen > mostObjects)
            break;
        const Hdf5Object member = openHdf5Object(group, name);
        if (member.isOpen())
            copyMember(member, path + '/' + name, place + '/' + name, placeOf);
    }
    open.pop_back();
}

void Hdf5Copy::copyMember(const Hdf5Object& member, const std::string& path, const std::string& place,
                          const Place& placeOf) {
    if (H5Iget_type(member) == H5I_GROUP) {
        const std::string chosen = placeOf(member, place);
        if (!chosen.empty())
            copyTree(member, path, chosen, placeOf);
    } else if (H5Iget_type(member) == H5I_DATASET && !existsInHdf5(to, place)) {
        copyDataset(member, path, place);
    }
}

void Hdf5Copy::copyDataset(const Hdf5Object& dataset, const std::string& path, const std::string& place) {
    if (Hdf5Sources().problemOf(dataset)) // before its extent is asked for, for which sources are opened
        return;
    const Hdf5Type type{H5Dget_type(dataset)};
    const Hdf5Space space{H5Dget_space(dataset)};
    const int rank = H5Sget_simple_extent_ndims(space);
    const hssize_t count = H5Sget_simple_extent_npoints(space);
    const hsize_t first = rank >= 1 ? extentOf(space).front() : 0;
    const bool isImage = pixelTypeOfHdf5(type) && (rank > 2 || (rank == 2 && count > largestMatrix));
    const bool isPerFrame = frameCount > 1 && first == frameCount;
    if (isPerFrame) {
        if (rank == 1 && (pixelTypeOfHdf5(type) || H5Tget_class(type) == H5T_STRING))
            noted.emplace(place, path);
        return;
    }
    const Hdf5Properties creation{H5Dget_create_plist(dataset)};
    const bool isElsewhere = H5Pget_layout(creation) == H5D_VIRTUAL || H5Pget_external_count(creation) > 0;
    const double bytes = std::max(static_cast<double>(count) * static_cast<double>(H5Tget_size(type)),
                                  static_cast<double>(H5Dget_storage_size(dataset)));
    if (isImage || isElsewhere || refersToObjects(type) || bytes > largestDataset ||
        bytesCopied + bytes > mostBytes)
        return;
    bytesCopied += bytes;
    const Hdf5Properties copying{H5Pcreate(H5P_OBJECT_COPY)};
    const Hdf5Properties linking = creatingGroups();
    H5Ocopy(dataset, ".", to, place.c_str(), copying, linking);
}

} // namespace ombrel
