#include "standalone/Hdf5Values.h"

#include "standalone/Hdf5Shape.h"

#include <algorithm>

namespace ombrel {

namespace {

// Strings whose length is told by each one: the library allocates them.
std::optional<std::string> readVariableText(hid_t attribute, hid_t type, std::size_t count) {
    std::vector<char*> strings(count);
    const Hdf5Space space{H5Aget_space(attribute)};
    if (H5Aread(attribute, type, strings.data()) < 0)
        return std::nullopt;
    std::optional<std::string> first;
    if (strings[0])
        first = strings[0];
    H5Dvlen_reclaim(type, space, H5P_DEFAULT, strings.data());
    return first;
}

std::optional<std::string> readFixedText(hid_t attribute, hid_t type, std::size_t count) {
    const std::size_t length = H5Tget_size(type);
    std::string text(length * count, '\0');
    if (H5Aread(attribute, type, text.data()) < 0)
        return std::nullopt;
    text.resize(length);
    text.resize(std::min(text.find('\0'), text.size()));
    const bool spacePadded = H5Tget_strpad(type) == H5T_STR_SPACEPAD;
    if (spacePadded)
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
    const hssize_t count = H5Sget_simple_extent_npoints(space);
    if (H5Tget_class(type) != H5T_STRING || count < 1)
        return std::nullopt;
    return H5Tis_variable_str(type) > 0 ? readVariableText(attribute, type, static_cast<std::size_t>(count))
                                        : readFixedText(attribute, type, static_cast<std::size_t>(count));
}

std::optional<Hdf5Numbers> numbersAt(hid_t file, const std::string& path) {
    const Hdf5Object object{H5Oopen(file, path.c_str(), H5P_DEFAULT)};
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET)
        return std::nullopt;
    const Hdf5Type type{H5Dget_type(object)};
    const Hdf5Space space{H5Dget_space(object)};
    const hssize_t count = H5Sget_simple_extent_npoints(space);
    if (!pixelTypeOfHdf5(type) || H5Sget_simple_extent_ndims(space) > 1 || count < 1)
        return std::nullopt;
    Hdf5Numbers numbers{std::vector<double>(static_cast<std::size_t>(count)),
                        textAttribute(object, "units").value_or("")};
    if (H5Dread(object, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers.values.data()) < 0)
        return std::nullopt;
    return numbers;
}

} // namespace ombrel
