#include "hdf5/Hdf5Shape.h"

#include "frame/PixelType.h"

#include <algorithm>
#include <limits>

namespace ombrel {

std::optional<zt::u8> pixelTypeOfHdf5(hid_t type) {
    const std::size_t size = H5Tget_size(type);
    switch (H5Tget_class(type)) {
    case H5T_INTEGER: {
        const bool isSigned = H5Tget_sign(type) == H5T_SGN_2;
        if (size <= 1)
            return isSigned ? zt::DT_I8 : zt::DT_U8;
        if (size <= 2)
            return isSigned ? zt::DT_I16 : zt::DT_U16;
        if (size <= 4)
            return isSigned ? zt::DT_I32 : zt::DT_U32;
        return size <= 8 ? std::optional<zt::u8>(isSigned ? zt::DT_I64 : zt::DT_U64) : std::nullopt;
    }
    case H5T_FLOAT:
        if (size <= 4)
            return zt::DT_FLOAT;
        return size <= 8 ? std::optional<zt::u8>(zt::DT_DOUBLE) : std::nullopt;
    default:
        return std::nullopt;
    }
}

hid_t nativeHdf5Type(zt::u8 pixelType) {
    const hid_t types[] = {H5T_NATIVE_INT8,  H5T_NATIVE_UINT8,  H5T_NATIVE_INT16, H5T_NATIVE_UINT16,
                           H5T_NATIVE_INT32, H5T_NATIVE_UINT32, H5T_NATIVE_INT64, H5T_NATIVE_UINT64,
                           H5T_NATIVE_FLOAT, H5T_NATIVE_DOUBLE};
    return types[pixelType];
}

namespace {

std::optional<Hdf5Shape> shapeIn(hid_t object, hid_t space) {
    const Hdf5Type type{H5Dget_type(object)};
    const int rank = H5Sget_simple_extent_ndims(space);
    const auto pixelType = pixelTypeOfHdf5(type);
    if (!pixelType || rank < 2 || rank > 4)
        return std::nullopt;
    Hdf5Shape shape{std::vector<hsize_t>(static_cast<std::size_t>(rank)), *pixelType};
    H5Sget_simple_extent_dims(space, shape.extent.data(), nullptr);
    const auto fits = [](hsize_t side) { return side >= 1 && side <= std::numeric_limits<zt::u32>::max(); };
    return std::ranges::all_of(shape.extent, fits) ? std::optional(std::move(shape)) : std::nullopt;
}

} // namespace

std::optional<Hdf5Shape> shapeOfImages(hid_t object) {
    if (H5Iget_type(object) != H5I_DATASET)
        return std::nullopt;
    return shapeIn(object, Hdf5Space{H5Dget_space(object)});
}

std::optional<Hdf5Shape> shapeOfBrokenImages(hid_t dataset) {
    const Hdf5Properties creation{H5Dget_create_plist(dataset)};
    if (H5Pget_layout(creation) != H5D_VIRTUAL)
        return shapeOfImages(dataset);
    const Hdf5Space space{H5Pget_virtual_vspace(creation, 0)};
    const int rank = H5Sget_simple_extent_ndims(space);
    if (rank < 2 || rank > 4 || !pixelTypeOfHdf5(Hdf5Type{H5Dget_type(dataset)}))
        return std::nullopt;
    std::vector<hsize_t> extent(static_cast<std::size_t>(rank));
    H5Sget_simple_extent_dims(space, extent.data(), nullptr);
    return Hdf5Shape{std::move(extent), *pixelTypeOfHdf5(Hdf5Type{H5Dget_type(dataset)})};
}

std::string shapeText(const Hdf5Shape& shape) {
    std::string text;
    for (const hsize_t& side : shape.extent)
        text += std::to_string(side) + (&side == &shape.extent.back() ? " " : " x ");
    return text + std::string(pixelTypeName(shape.pixelType));
}

} // namespace ombrel
