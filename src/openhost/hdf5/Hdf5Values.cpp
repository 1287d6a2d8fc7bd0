#include "hdf5/Hdf5Values.h"

#include "base/Error.h"
#include "frame/PixelType.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Sources.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <mutex>
#include <udunits2.h>

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

Hdf5Type storedHdf5Type(zt::u8 pixelType, const std::optional<PixelPacking>& packing) {
    Hdf5Type type{H5Tcopy(packing && packing->isHalf ? H5T_IEEE_F32LE : nativeHdf5Type(pixelType))};
    if (packing && packing->isHalf) { // the library has no name for the type
        H5Tset_fields(type, 15, 10, 5, 0, 10);
        H5Tset_size(type, 2);
        H5Tset_ebias(type, 15);
    }
    return type;
}

std::optional<PixelPacking> packingOfHdf5(hid_t dataset) {
    const Hdf5Type type{H5Dget_type(dataset)};
    const auto scale = numberAttribute(dataset, "scale_factor");
    const auto offset = numberAttribute(dataset, "add_offset");
    if (H5Tget_size(type) != sizeof(zt::u16) || !scale || !offset)
        return std::nullopt;
    return PixelPacking{.isHalf = H5Tget_class(type) == H5T_FLOAT, .scale = *scale, .offset = *offset};
}

namespace {

std::optional<Hdf5Shape> shapeIn(hid_t object, hid_t space) {
    const Hdf5Type type{H5Dget_type(object)};
    const auto pixelType = pixelTypeOfHdf5(type);
    Hdf5Shape shape{extentOf(space), pixelType.value_or(0)};
    if (!pixelType || shape.extent.size() < 2 || shape.extent.size() > 4)
        return std::nullopt;
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
    const auto pixelType = pixelTypeOfHdf5(Hdf5Type{H5Dget_type(dataset)});
    Hdf5Shape shape{extentOf(space), pixelType.value_or(0)};
    if (!pixelType || shape.extent.size() < 2 || shape.extent.size() > 4)
        return std::nullopt;
    return shape;
}

std::string shapeText(const Hdf5Shape& shape) {
    std::string text;
    for (const hsize_t& side : shape.extent)
        text += std::to_string(side) + (&side == &shape.extent.back() ? " " : " x ");
    return text + std::string(pixelTypeName(shape.pixelType));
}

namespace {

// Text of variable length, allocated by the library.
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

std::optional<double> numberAttribute(hid_t object, const char* name) {
    if (H5Aexists(object, name) <= 0)
        return std::nullopt;
    const Hdf5Attribute attribute{H5Aopen(object, name, H5P_DEFAULT)};
    const Hdf5Type type{H5Aget_type(attribute)};
    const Hdf5Space space{H5Aget_space(attribute)};
    const H5T_class_t kind = H5Tget_class(type);
    double number = 0;
    if ((kind != H5T_FLOAT && kind != H5T_INTEGER) || H5Sget_simple_extent_npoints(space) != 1 ||
        H5Aread(attribute, H5T_NATIVE_DOUBLE, &number) < 0)
        return std::nullopt;
    return number;
}

std::optional<Hdf5Numbers> numbersAt(hid_t file, const std::string& path, zt::u64 count) {
    if (!mayExistInHdf5(file, path))
        return std::nullopt;
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

namespace {

struct FreeUnit {
    void operator()(ut_unit* unit) const { ut_free(unit); }
};
struct FreeConverter {
    void operator()(cv_converter* converter) const { cv_free(converter); }
};

using Unit = std::unique_ptr<ut_unit, FreeUnit>;

// The database is a file that is read with the first unit; null if that fails.
ut_system* unitSystem() {
    static ut_system* const system = [] {
        ut_set_error_message_handler(ut_ignore); // it writes to standard error
        return ut_read_xml(nullptr);
    }();
    return system;
}

Unit parsedUnit(ut_system* system, std::string text) {
    text.push_back('\0');
    ut_trim(text.data(), UT_UTF8);
    for (const ut_encoding encoding : {UT_UTF8, UT_LATIN1})
        if (Unit unit{ut_parse(system, text.c_str(), encoding)})
            return unit;
    return nullptr;
}

// Units of frequency are convertible too, by the reciprocal: a unit of time needs a pure factor.
double factorBetween(ut_unit* unit, ut_unit* second) {
    const std::unique_ptr<cv_converter, FreeConverter> converter{ut_get_converter(unit, second)};
    if (!converter)
        return 0;
    const double factor = cv_convert_double(converter.get(), 1);
    return cv_convert_double(converter.get(), 0) == 0 && cv_convert_double(converter.get(), 2) == 2 * factor
               ? factor
               : 0;
}

// Throws Error if the unit cannot be converted to the base; `mistake` ends its text.
double factorTo(const char* base, const std::string& unit, const std::string& mistake) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex); // the library is not thread-safe
    ut_system* const system = unitSystem();
    if (!system)
        throw Error("the unit \"" + unit +
                    "\" cannot be looked up: the database of UDUNITS is missing or damaged; install "
                    "libudunits2-data or set UDUNITS2_XML_PATH");
    const Unit known{ut_get_unit_by_name(system, base)};
    const Unit parsed = parsedUnit(system, unit);
    const double factor = parsed && known ? factorBetween(parsed.get(), known.get()) : 0;
    if (!(factor > 0))
        throw Error("\"" + unit + "\" is not a unit of " + mistake);
    return factor;
}

} // namespace

double secondsIn(const std::string& unit) {
    return unit == "s" ? 1 : factorTo("second", unit, "time; use s, ms, microsecond, min or the like");
}

double metresIn(const std::string& unit) {
    return unit == "m" ? 1 : factorTo("meter", unit, "length");
}

} // namespace ombrel
