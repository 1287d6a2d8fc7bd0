#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Resources.h"
#include "module/Arrays.h"
#include "module/Bindings.h"
#include "module/Messages.h"
#include "run/CorrectedFrames.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace ombrel::python {

namespace {

void checkMaskSize(const std::vector<zt::u8>& mask, FrameSize size) {
    if (!mask.empty() && mask.size() != std::size_t{size.width} * size.height)
        throw UsageError("mask has " + countText(mask.size(), "pixel") + ", but the frames have the shape (" +
                         std::to_string(size.height) + ", " + std::to_string(size.width) + ")");
}

} // namespace

std::shared_ptr<SharedChain> Filters::forFrames(FrameSize size, const std::vector<zt::u8>& mask) {
    constexpr std::size_t mostLoaded = 4;
    const std::lock_guard lock(mutex);
    const auto found = std::ranges::find_if(loaded, [&](const Loaded& each) {
        return each.size.width == size.width && each.size.height == size.height && each.mask == mask;
    });
    if (found != loaded.end()) {
        std::rotate(found, found + 1, loaded.end());
        return loaded.back().chain;
    }
    checkMaskSize(mask, size);
    auto chain = std::make_shared<SharedChain>(options, size, mask, console());
    if (loaded.size() == mostLoaded)
        loaded.erase(loaded.begin());
    loaded.push_back({size, mask, chain});
    return chain;
}

std::shared_ptr<SharedChain> Filters::forSequence(FrameSize size, const std::vector<zt::u8>& mask) {
    auto chain = forFrames(size, mask);
    return chain->remembers() ? std::make_shared<SharedChain>(options, size, mask, console()) : chain;
}

namespace {

bool overlap(const py::array& one, const py::array& other) {
    const auto* const first = static_cast<const std::byte*>(one.data());
    const auto* const second = static_cast<const std::byte*>(other.data());
    return std::less<>()(first, second + other.nbytes()) && std::less<>()(second, first + one.nbytes());
}

} // namespace

py::array Filters::call(const py::object& x, const py::object& time, const py::object& out) {
    const auto seconds = argumentAs<double>("time", time, "a number of seconds");
    std::optional<py::array_t<double>> target;
    if (!out.is_none())
        target = outputArray(out);
    LentFrame lent = lendArray("x", x);
    lent.frame->setAcqTime(seconds);
    if (target && hasShape(*target, *lent.frame) && !overlap(*target, lent.array))
        lent.frame->offer(target->mutable_data());
    const MessageScope messages;
    FrameResult result;
    try {
        const py::gil_scoped_release released;
        const auto chain = forFrames({lent.frame->width(), lent.frame->height()}, ownMask);
        result = chain->apply(std::move(lent.frame));
    } catch (const Misfit& misfit) {
        throw py::value_error(describe("x", lent.array) + ": " + misfit.what());
    }
    if (!result)
        throw FrameFailure(result.failure, -1);
    if (!target)
        return arrayOf(std::move(result.frame));
    copyInto(*target, *result.frame);
    return *target;
}

double Filters::secondsOf(const std::vector<py::object>& arrays) {
    std::vector<LentFrame> lent;
    for (const py::object& array : arrays)
        lent.push_back(lendArray("arrays", array));
    const py::gil_scoped_release released;
    const auto begin = std::chrono::steady_clock::now();
    for (LentFrame& each : lent)
        forFrames({each.frame->width(), each.frame->height()}, ownMask)->apply(std::move(each.frame));
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

namespace {

class FrameIterator {
public:
    FrameIterator(Filters& filters, const Stack& stack, FrameRange range, std::size_t jobs,
                  std::optional<double> time) {
        const py::gil_scoped_release released;
        const FrameSize size{stack.frames()->width(), stack.frames()->height()};
        const auto scanMask = filters.hasMask() ? std::nullopt : stack.mask();
        auto chain = filters.forSequence(size, scanMask ? scanMask->deviceBytes() : filters.mask());
        frames.emplace(CorrectedFrames::Plan{stack.frames(), std::move(chain), range, jobs, time});
    }
    // Waits for its threads, which need the interpreter for nothing, but others may.
    ~FrameIterator() {
        const py::gil_scoped_release released;
        frames.reset();
    }

    py::array next() {
        const MessageScope messages;
        CorrectedFrames::Item item;
        CorrectedFrames::Answer answer{};
        do {
            if (PyErr_CheckSignals() != 0)
                throw py::error_already_set();
            const py::gil_scoped_release released;
            answer = frames->next(item, std::chrono::milliseconds(100));
        } while (answer == CorrectedFrames::Answer::Timeout);
        if (answer == CorrectedFrames::Answer::End)
            throw py::stop_iteration();
        if (!item.result)
            throw FrameFailure(item.result.failure, static_cast<long long>(item.index));
        return arrayOf(std::move(item.result.frame));
    }

    void drain() {
        CorrectedFrames::Item item;
        while (frames->next(item, std::chrono::milliseconds(100)) != CorrectedFrames::Answer::End)
            item.result.frame.reset();
    }

private:
    std::optional<CorrectedFrames> frames;
};

RunOptions chainOptions(const std::vector<std::pair<std::string, std::string>>& links,
                        const std::vector<std::string>& params, const std::string& marks, bool keepNan) {
    RunOptions options;
    for (const auto& [name, settings] : links)
        options.links.push_back({name, settings, settings});
    options.params = params;
    options.marks = {marks, keepNan};
    options.plugin = pluginPath();
    return options;
}

constexpr const char* callText = R"(Correct one frame.

Parameters
----------
x : array of shape (height, width)
    Integers of 8 to 64 bits, float32 or float64. Read in place if it is in C order and of the machine's byte order.
time : float
    Acquisition time in seconds, for filters that use it.
out : numpy.ndarray of float64 in C order, optional
    Where to write the corrected frame, without another array. Undefined after an error.

Returns
-------
numpy.ndarray
    float64 of the shape of x: a new array, or out.

Raises
------
FrameError
    A filter refuses the frame.
ValueError, TypeError
    An argument is wrong, or the settings are for frames of another size.
Error
    Settings cannot be loaded.
)";

} // namespace

void bindChain(py::module_& module) {
    py::class_<FrameIterator>(module, "FrameIterator")
        .def(
            "__iter__", [](py::object self) { return self; })
        .def("__next__", &FrameIterator::next)
        .def("drain", &FrameIterator::drain, py::call_guard<py::gil_scoped_release>());
    py::class_<Filters>(module, "Filters")
        .def(py::init([](const std::vector<std::pair<std::string, std::string>>& links,
                         const std::vector<std::string>& params, const py::object& mask,
                         const std::string& marks, bool keepNan) {
            return new Filters(chainOptions(links, params, marks, keepNan), deviceMaskOf(mask));
        }))
        .def("__call__", &Filters::call, py::arg("x"), py::kw_only(), py::arg("time") = 0.0,
             py::arg("out") = py::none(), callText)
        .def("seconds", &Filters::secondsOf)
        .def(
            "load",
            [](Filters& filters, zt::u32 width, zt::u32 height) {
                filters.forFrames({width, height}, filters.mask());
            },
            py::call_guard<MessageScope, py::gil_scoped_release>())
        .def(
            "remembers",
            [](Filters& filters, zt::u32 width, zt::u32 height) {
                return filters.forFrames({width, height}, filters.mask())->remembers();
            },
            py::call_guard<MessageScope, py::gil_scoped_release>())
        .def("touched",
             [](Filters& filters, zt::u32 width, zt::u32 height) {
                 const MessageScope messages;
                 return constantArray(
                     filters.forFrames({width, height}, filters.mask())->touched(std::nullopt), width,
                     height);
             })
        .def(
            "frames",
            [](Filters& filters, const Stack& stack, zt::u64 begin, zt::u64 end, std::optional<unsigned> jobs,
               std::optional<double> time) {
                const MessageScope messages;
                return std::make_unique<FrameIterator>(filters, stack, FrameRange{begin, end},
                                                       jobs.value_or(availableProcessors()), time);
            },
            py::keep_alive<0, 1>());
}

} // namespace ombrel::python
