#include "hdf5/Hdf5Values.h"

#include "base/Error.h"
#include "hdf5/Hdf5Open.h"
#include "hdf5/Hdf5Shape.h"
#include "hdf5/Hdf5Sources.h"

#include <algorithm>

namespace ombrel {

namespace {

// Text whose length is told by itself: the library allocates it.
std::optional<std::string> readVariableText(hid_t attribute, hid_t type) {
    char* text = nullptr;
    const Hdf5Space space{H5Aget_space(attribute)};
    if (H5Aread(attribute, type, &text) < 0 || !text)
        return std::nullopt;
    std::string copy = text;
    H5Dvlen_reclaim(type, space, H5P_DEFAULT, &text);
    return copy;
}

std::optional<std::string> readFixedText(hid_t attribute, hid_t type) {
    constexpr std::size_t longest = 65536; // a damaged file may claim more
    const std::size_t length = H5Tget_size(type);
    if (length > longest)
        return std::nullopt;
    std::string text(length, '\0');
    if (H5Aread(attribute, type, text.data()) < 0)
        return std::nullopt;
    text.resize(std::min(text.find('\0'), text.size()));
    if (H5Tget_strpad(type) == H5T_STR_SPACEPAD)
        text.resize(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace

std::optional<std::string> textAttribute(hid_t object, const char* name) {
    if (H5Aexists(object, name) <= 0)
        return std::nullopt;
    const Hdf5Attribute attribute{H5Aopen(object, name, H5P_DEFAULT)};
    const Hdf5Type type{H5Aget_type(attribute)};
    const Hdf5Space space{H5Aget_space(attribute)};
    if (H5Tget_class(type) != H5T_STRING || H5Sget_simple_extent_npoints(space) != 1)
        return std::nullopt;
    return H5Tis_variable_str(type) > 0 ? readVariableText(attribute, type) : readFixedText(attribute, type);
}

std::optional<Hdf5Numbers> numbersAt(hid_t file, const std::string& path, zt::u64 count) {
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen())
        if (const auto dead = deadLinkOn(file, path))
            throw Error(hdf5FileName(file) + ": " + dead->text);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET)
        return std::nullopt;
    if (const auto problem = Hdf5Sources().problemOf(object))
        throw Error(hdf5FileName(file) + ": " + path + ": " + *problem);
    const Hdf5Type type{H5Dget_type(object)};
    const Hdf5Space space{H5Dget_space(object)};
    if (!pixelTypeOfHdf5(type) || H5Sget_simple_extent_ndims(space) > 1 ||
        H5Sget_simple_extent_npoints(space) != static_cast<hssize_t>(count))
        return std::nullopt;
    Hdf5Numbers numbers{std::vector<double>(count), textAttribute(object, "units").value_or("")};
    if (H5Dread(object, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers.values.data()) < 0)
        return std::nullopt;
    return numbers;
}

} // namespace ombrel
