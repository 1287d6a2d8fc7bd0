#include "module/Messages.h"

#include "base/Error.h"
#include "host/Host.h"

#include <atomic>
#include <iostream>
#include <mutex>
#include <pybind11/pybind11.h>
#include <streambuf>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace ombrel::python {

namespace {

struct Message {
    std::string line;
    bool isWarning;
};

struct Waiting {
    std::mutex mutex;
    std::vector<Message> messages;
    std::atomic<bool> any = false;
};

// Never destroyed: threads may log while the interpreter ends.
Waiting& waiting() {
    static Waiting* const all = new Waiting;
    return *all;
}

// Paths in a message may hold any bytes.
py::object textOf(const std::string& line) {
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(line.data(), static_cast<Py_ssize_t>(line.size()), "replace"));
}

} // namespace

Console& console() {
    static Console* const only = new Console([](const std::string& line, bool isWarning) {
        Waiting& all = waiting();
        const std::lock_guard lock(all.mutex);
        all.messages.push_back({line, isWarning});
        all.any = true;
    });
    return *only;
}

void passOnMessages() {
    Waiting& all = waiting();
    if (!all.any)
        return;
    std::vector<Message> messages;
    {
        const std::lock_guard lock(all.mutex);
        messages = std::exchange(all.messages, {});
        all.any = false;
    }
    const py::object logger = py::module_::import("logging").attr("getLogger")("ombrel");
    for (const Message& message : messages)
        logger.attr(message.isWarning ? "warning" : "info")("%s", textOf(message.line));
}

MessageScope::~MessageScope() {
    try {
        const py::error_scope pending; // a logger must not replace the exception that is on its way
        passOnMessages();
    } catch (py::error_already_set& error) {
        error.discard_as_unraisable("ombrel's logger");
    }
}

namespace {

void raise(const char* type, const std::string& text) {
    PyErr_SetObject(py::module_::import("ombrel.errors").attr(type).ptr(), textOf(text).ptr());
}

void raiseFrameError(const FrameFailure& failure) {
    const py::object type = py::module_::import("ombrel.errors").attr("FrameError");
    const py::object index = failure.index < 0 ? py::object(py::none()) : py::int_(failure.index);
    PyErr_SetObject(type.ptr(), type(textOf(failure.what()), index).ptr());
}

} // namespace

void registerErrors() {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown)
                std::rethrow_exception(thrown);
        } catch (const FrameFailure& failure) {
            raiseFrameError(failure);
        } catch (const UsageError& error) {
            PyErr_SetObject(PyExc_ValueError, textOf(error.what()).ptr());
        } catch (const Error& error) {
            raise("Error", error.what());
        }
    });
}

namespace {

// Drops what a thread prints while it is inside of a filter, and passes on everything else.
class OutsideFilters final : public std::streambuf {
public:
    explicit OutsideFilters(std::streambuf& target) : to(target) {}

private:
    static bool isInside() { return LogCapture::current() != nullptr; }

    int_type overflow(int_type character) override {
        if (isInside() || traits_type::eq_int_type(character, traits_type::eof()))
            return traits_type::not_eof(character);
        return to.sputc(traits_type::to_char_type(character));
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return isInside() ? count : to.sputn(text, count);
    }
    int sync() override { return isInside() ? 0 : to.pubsync(); }

    std::streambuf& to;
};

} // namespace

void silenceFilters() {
    if (std::streambuf* const target = std::cout.rdbuf())
        std::cout.rdbuf(new OutsideFilters(*target)); // in use until the process ends
}

} // namespace ombrel::python
