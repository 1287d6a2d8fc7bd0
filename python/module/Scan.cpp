#include "base/Error.h"
#include "module/Arrays.h"
#include "module/Bindings.h"
#include "module/Messages.h"
#include "stack/MergedParts.h"

#include <pybind11/stl.h>

namespace py = pybind11;

namespace ombrel::python {

namespace {

FrameRole roleOf(const std::string& name) {
    if (name == "flat")
        return FrameRole::Flat;
    return name == "dark" ? FrameRole::Dark : FrameRole::Sample;
}

} // namespace

Stack::Stack(const std::vector<std::string>& paths, const std::string& role)
    : stack(std::make_shared<FrameStack>(paths, roleOf(role))) {
    console().warning(stack->passedOver());
}

py::array Stack::read(zt::u64 frame) const {
    FramePtr read;
    {
        const py::gil_scoped_release released;
        read = stack->readFrame(frame);
    }
    return arrayOf(std::move(read));
}

std::optional<PixelMask> Stack::mask() const {
    return deviceMaskFor({}, stack->info(0));
}

zt::u64 Stack::count(const std::string& role) const {
    zt::u64 frames = 0;
    for (std::size_t file = 0; file < stack->fileCount(); ++file)
        if (const auto& kinds = stack->info(file).kinds)
            frames += role == "flat" ? kinds->flat : role == "dark" ? kinds->dark : kinds->sample;
    return frames;
}

namespace {

py::object maskArray(const std::optional<PixelMask>& mask) {
    if (!mask)
        return py::none();
    return constantArray(mask->faults, mask->width, mask->height);
}

PixelMask maskFrom(const py::array_t<zt::u32, py::array::c_style | py::array::forcecast>& faults) {
    return {static_cast<zt::u32>(faults.shape(1)),
            static_cast<zt::u32>(faults.shape(0)),
            {faults.data(), faults.data() + faults.size()},
            ""};
}

} // namespace

void bindScan(py::module_& module) {
    py::class_<Stack>(module, "Stack")
        .def(py::init<const std::vector<std::string>&, const std::string&>(),
             py::call_guard<MessageScope, py::gil_scoped_release>())
        .def(
            "__len__", [](const Stack& stack) { return stack.frames()->frameCount(); })
        .def_property_readonly(
            "width", [](const Stack& stack) { return stack.frames()->width(); })
        .def_property_readonly(
            "height", [](const Stack& stack) { return stack.frames()->height(); })
        .def(
            "dtype",
            [](const Stack& stack, zt::u64 frame) { return dtypeOf(stack.frames()->pixelType(frame)); })
        .def("read", &Stack::read)
        .def("count", &Stack::count)
        .def(
            "where", [](const Stack& stack, zt::u64 frame) { return stack.frames()->where(frame); })
        .def(
            "time", [](const Stack& stack, zt::u64 frame) { return stack.frames()->acqTime(frame); },
            py::call_guard<py::gil_scoped_release>())
        .def(
            "mask", [](const Stack& stack) { return maskArray(stack.mask()); });
    module.def("read_mask", [](const std::string& path, zt::u32 width, zt::u32 height) {
        return maskArray(readPixelMask(path, "", width, height));
    });
    module.def(
        "write_mask", [](const std::string& path,
                         const py::array_t<zt::u32, py::array::c_style | py::array::forcecast>& faults) {
            if (!isMaskPath(path))
                throw UsageError("path " + path + ": must end in .h5, .hdf5, .nxs, .tif, .tiff or .txt");
            writePixelMask(path, maskFrom(faults));
        });
    module.def("merge", &mergeParts, py::call_guard<py::gil_scoped_release>());
}

} // namespace ombrel::python
