#include "module/Arrays.h"

#include "frame/PixelType.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace py = pybind11;

namespace ombrel::python {

std::string describe(const char* argument, const py::array& array) {
    return std::string(argument) + " has the shape " + py::cast<std::string>(py::str(array.attr("shape"))) +
           " and the type " + py::cast<std::string>(py::str(array.dtype()));
}

namespace {

py::array anyArray(const char* argument, const py::object& value) {
    if (py::isinstance<py::array>(value))
        return py::reinterpret_borrow<py::array>(value);
    const py::module_ numpy = py::module_::import("numpy");
    if (!py::hasattr(value, "__array__") && py::hasattr(value, "__dlpack__"))
        return numpy.attr("from_dlpack")(value);
    if (value.is_none() || py::isinstance<py::str>(value))
        throw py::type_error(std::string(argument) + " is " +
                             py::cast<std::string>(py::str(py::type::of(value))) +
                             ", not an array of pixels");
    try {
        return numpy.attr("asarray")(value);
    } catch (const py::error_already_set& error) {
        if (!error.matches(PyExc_ValueError))
            throw;
        throw py::value_error(std::string(argument) + " is not an array of pixels: " + error.what());
    }
}

// Nothing for a type that no frame has. Machine byte order is not checked.
std::optional<zt::u8> pixelTypeOf(const py::dtype& type) {
    const py::ssize_t size = type.itemsize();
    const char kind = type.kind();
    if (kind == 'f' && (size == 4 || size == 8))
        return static_cast<zt::u8>(size == 4 ? zt::DT_FLOAT : zt::DT_DOUBLE);
    if (kind != 'i' && kind != 'u')
        return std::nullopt;
    const int power = size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : 3;
    return static_cast<zt::u8>(2 * power + (kind == 'u' ? 1 : 0)); // i8, u8, i16 ...
}

bool isInPlace(const py::array& array) {
    constexpr int needed =
        py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_ALIGNED_;
    const char order = array.dtype().byteorder();
    return (array.flags() & needed) == needed && order != '>';
}

py::array inPlace(const py::array& array) {
    if (isInPlace(array))
        return array;
    return py::module_::import("numpy").attr("ascontiguousarray")(array,
                                                                  array.dtype().attr("newbyteorder")("="));
}

} // namespace

LentFrame lendArray(const char* argument, const py::object& value) {
    const py::array array = anyArray(argument, value);
    if (array.ndim() != 2 || array.size() == 0 ||
        std::max(array.shape(0), array.shape(1)) > std::numeric_limits<int>::max())
        throw py::value_error(describe(argument, array) +
                              "; a frame has the shape (height, width), neither of them 0");
    const auto type = pixelTypeOf(array.dtype());
    if (!type)
        throw py::type_error(describe(argument, array) +
                             "; a frame holds integers of 8 to 64 bits, float32 or float64");
    LentFrame lent{inPlace(array), nullptr};
    lent.frame = Frame::lend(static_cast<zt::u32>(array.shape(1)), static_cast<zt::u32>(array.shape(0)),
                             *type, static_cast<const std::byte*>(lent.array.data()));
    return lent;
}

py::dtype dtypeOf(zt::u8 pixelType) {
    return withPixelType(
        pixelType, [](auto pixel) { return py::dtype::of<decltype(pixel)>(); });
}

py::array arrayOf(FramePtr frame) {
    Frame* const kept = frame.release();
    const py::capsule owner(kept, [](void* data) { static_cast<Frame*>(data)->release(); });
    return {dtypeOf(kept->frameDataType()),
            {std::size_t{kept->height()}, std::size_t{kept->width()}},
            kept->bytes().data(),
            owner};
}

py::array_t<double> outputArray(const py::object& value) {
    if (!py::isinstance<py::array>(value))
        throw py::type_error("out is " + py::cast<std::string>(py::str(py::type::of(value))) +
                             ", not a numpy.ndarray");
    const auto array = py::reinterpret_borrow<py::array>(value);
    if (!py::isinstance<py::array_t<double>>(value) || !isInPlace(array))
        throw py::type_error(describe("out", array) + "; corrected frames are float64 in C order");
    if (!array.writeable())
        throw py::value_error(describe("out", array) + ", but is read-only");
    return py::reinterpret_borrow<py::array_t<double>>(value);
}

bool hasShape(const py::array& array, const Frame& frame) {
    return array.ndim() == 2 && array.shape(0) == frame.height() && array.shape(1) == frame.width();
}

void copyInto(py::array_t<double>& array, const Frame& frame) {
    if (!hasShape(array, frame))
        throw py::value_error(describe("out", array) + "; the corrected frame has the shape (" +
                              std::to_string(frame.height()) + ", " + std::to_string(frame.width()) + ")");
    double* const to = array.mutable_data();
    if (frame.bytes().data() == reinterpret_cast<const std::byte*>(to))
        return;
    const py::gil_scoped_release released;
    std::memcpy(to, frame.bytes().data(), frame.bytes().size());
}

std::vector<zt::u8> deviceMaskOf(const py::object& mask) {
    if (mask.is_none())
        return {};
    const py::array array = anyArray("mask", mask);
    if (array.ndim() != 2 || array.size() == 0)
        throw py::value_error(describe("mask", array) + "; a mask has the shape (height, width)");
    if (const char kind = array.dtype().kind(); kind != 'b' && kind != 'i' && kind != 'u')
        throw py::type_error(describe("mask", array) +
                             "; a mask holds booleans or integers, 0 for good pixels");
    const py::array_t<bool, py::array::c_style | py::array::forcecast> bad(array);
    std::vector<zt::u8> good(static_cast<std::size_t>(bad.size()));
    std::transform(bad.data(), bad.data() + bad.size(), good.begin(),
                   [](bool isBad) { return static_cast<zt::u8>(!isBad); });
    if (std::ranges::count(good, zt::u8{0}) == bad.size())
        throw py::value_error(describe("mask", array) + "; it masks all pixels");
    return good;
}

} // namespace ombrel::python
