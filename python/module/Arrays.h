#pragma once

#include "frame/Frame.h"
#include "zt/Types.h"

#include <optional>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <string>
#include <vector>

namespace ombrel::python {

// "x has the shape (48, 64) and the type uint16".
std::string describe(const char* argument, const pybind11::array& array);

// A frame that reads the pixels of an argument in place: those of an array of numbers, in C order. The array
// is kept along with it, a copy if the argument's own memory does not serve.
struct LentFrame {
    pybind11::array array;
    FramePtr frame;
};

// Throws ValueError or TypeError that name the argument, its shape and its type.
LentFrame lendArray(const char* argument, const pybind11::object& value);

// The frame as an array that owns it.
pybind11::array arrayOf(FramePtr frame);

// Throws ValueError or TypeError unless corrected frames can be written into the argument.
pybind11::array_t<double> outputArray(const pybind11::object& value);
bool hasShape(const pybind11::array& array, const Frame& frame);
// Does nothing for a frame that has its pixels there. Throws ValueError for another shape.
void copyInto(pybind11::array_t<double>& array, const Frame& frame);

pybind11::dtype dtypeOf(zt::u8 pixelType);

// An argument in C++; `what` names the type that it must have: "a number". Throws TypeError that names both.
template <typename T>
T argumentAs(const char* argument, const pybind11::handle& value, const char* what) {
    try {
        return value.cast<T>();
    } catch (const pybind11::cast_error&) {
        throw pybind11::type_error(std::string(argument) + " is " +
                                   pybind11::cast<std::string>(pybind11::repr(value)) + ", not " + what);
    }
}

// A read-only array that owns the values.
template <typename T>
pybind11::array constantArray(std::vector<T> values, zt::u32 width, zt::u32 height) {
    auto* const kept = new std::vector<T>(std::move(values));
    const pybind11::capsule owner(kept, [](void* all) { delete static_cast<std::vector<T>*>(all); });
    pybind11::array array(pybind11::dtype::of<T>(), {std::size_t{height}, std::size_t{width}}, kept->data(),
                          owner);
    array.attr("flags").attr("writeable") = false;
    return array;
}

// One byte a pixel, 0 for a masked one, of an array that is true for masked pixels; empty for None. Throws
// ValueError or TypeError.
std::vector<zt::u8> deviceMaskOf(const pybind11::object& mask);

} // namespace ombrel::python
