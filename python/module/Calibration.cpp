#include "base/Error.h"
#include "base/ProgramRun.h"
#include "calibration/AdaptiveCalibration.h"
#include "calibration/BadPixelCalibration.h"
#include "calibration/BeamHardeningCalibration.h"
#include "calibration/FlatFieldCalibration.h"
#include "module/Arrays.h"
#include "module/Bindings.h"
#include "module/Messages.h"
#include "settings/SettingsFile.h"

#include <mutex>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace ombrel::python {

namespace {

const char* typeText(bool) {
    return "True or False";
}
const char* typeText(double) {
    return "a number";
}
const char* typeText(const std::optional<double>&) {
    return "a number";
}
const char* typeText(const std::string&) {
    return "a text";
}
const char* typeText(const std::vector<std::string>&) {
    return "a list of texts";
}

// A value of the options of a call; its own default if the caller gave none.
template <typename T>
void take(const py::dict& given, const char* key, T& value) {
    if (given.contains(key) && !given[key].is_none())
        value = argumentAs<T>(key, given[key], typeText(value));
}

py::dict rowOf(const FieldVerdict& field) {
    py::dict row;
    row["file"] = field.place.file;
    row["frame"] = field.place.frame;
    row["level"] = field.level;
    row["relative_level"] = field.relativeLevel;
    row["zeros"] = field.zero;
    row["saturated"] = field.saturated;
    row["not_finite"] = field.notFinite;
    row["structure"] = field.structure ? py::object(py::float_(*field.structure)) : py::none();
    row["verdict"] = std::string(verdictName(field.verdict));
    row["reason"] = field.reason;
    return row;
}

py::list listOf(const std::vector<InspectionReport>& reports) {
    py::list all;
    for (const InspectionReport& report : reports) {
        py::list rows;
        for (const FieldVerdict& field : report.fields)
            rows.append(rowOf(field));
        py::dict each;
        each["name"] = report.name;
        each["darks"] = report.areDarks;
        each["median_level"] = report.medianLevel;
        each["unjudged"] = report.unjudged;
        each["noise"] = report.noise;
        each["rows"] = rows;
        all.append(each);
    }
    return all;
}

void fillInspection(const py::dict& given, InspectionOptions& options) {
    take(given, "keep_all", options.keepAll);
    take(given, "exclude", options.exclude);
    take(given, "only", options.only);
    take(given, "dark_limit", options.limits.dark);
    take(given, "level_limit", options.limits.level);
    take(given, "saturated_limit", options.limits.saturated);
    take(given, "saturation", options.limits.saturation);
    take(given, "structure_limit", options.limits.structure);
}

void fillCalibration(const py::dict& given, CalibrateOptions& options) {
    take(given, "output", options.output);
    take(given, "dark", options.dark);
    fillInspection(given, options.inspection);
    options.plugin = pluginPath();
}

// Does the work without the interpreter; an interrupt becomes KeyboardInterrupt at its end. Only one at a
// time: the work replaces the handlers of signals while it lasts.
template <typename Work>
void workInterruptibly(Work work) {
    static std::mutex oneByOne;
    const MessageScope messages;
    bool isInterrupted = false;
    std::exception_ptr failure;
    {
        const py::gil_scoped_release released;
        const std::lock_guard lock(oneByOne);
        const Interrupt interrupt;
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        isInterrupted = Interrupt::requested();
    }
    if (isInterrupted) {
        PyErr_SetNone(PyExc_KeyboardInterrupt);
        throw py::error_already_set();
    }
    if (failure)
        std::rethrow_exception(failure);
}

// Runs a calibration and returns its reports on the frames.
template <typename Options, typename Work>
py::list judged(Options& options, Work work) {
    std::vector<InspectionReport> reports;
    options.inspection.finished = [&](const std::vector<InspectionReport>& all) { reports = all; };
    workInterruptibly([&] { work(options, console()); });
    return listOf(reports);
}

py::list flatField(const std::vector<std::string>& inputs, const py::dict& given) {
    FlatFieldOptions options;
    options.inputs = inputs;
    fillCalibration(given, options);
    take(given, "bad", options.bad);
    take(given, "mask", options.mask.source);
    options.noInterpolation = !argumentAs<bool>("interpolate", given["interpolate"], "True or False");
    return judged(options, calibrateFlatField);
}

py::list beamHardening(const std::vector<std::string>& masks, const py::dict& given) {
    BeamHardeningOptions options;
    options.masks = masks;
    fillCalibration(given, options);
    take(given, "zero_as_bad", options.zeroAsBad);
    take(given, "time", options.acqTime);
    options.noInterpolation = !argumentAs<bool>("interpolate", given["interpolate"], "True or False");
    return judged(options, calibrateBeamHardening);
}

py::list adaptive(const std::string& grid, const py::dict& given) {
    AdaptiveOptions options;
    options.grid = grid;
    options.quiet = true;
    fillCalibration(given, options);
    take(given, "refine", options.refine.cells);
    take(given, "time_per_frame", options.refine.timePerFrame);
    take(given, "frame_counts", options.refine.frameCounts);
    take(given, "normalise", options.normalise);
    take(given, "holes", options.holes);
    take(given, "assignments", options.assignments);
    return judged(options, calibrateAdaptive);
}

void badPixels(const std::vector<std::string>& flats, const std::vector<std::string>& darks,
               const py::dict& given) {
    BadPixelOptions options;
    options.flats = flats;
    options.darks = darks;
    options.quiet = true;
    options.outputs = {given["output"].cast<std::string>()};
    take(given, "mask", options.mask.source);
    take(given, "false_discoveries", options.limits.falseDiscoveryRate);
    take(given, "deviation", options.limits.deviation);
    workInterruptibly([&] { calibrateBadPixels(options, console()); });
}

py::list inspect(const std::vector<std::string>& inputs, const py::dict& given) {
    InspectionOptions options;
    fillInspection(given, options);
    checkInspection(options);
    FieldInspection inspection(options, console());
    workInterruptibly([&] {
        FrameStack stack(inputs, FrameRole::Flat);
        try {
            inspection.judge(fieldSetOf(stack, "flat fields"));
        } catch (const Error&) {
            if (inspection.reports().empty()) // otherwise most frames fail, which the report shows
                throw;
        }
        inspection.judgeDarks(inputs);
        inspection.finish();
    });
    return listOf(inspection.reports());
}

py::object valueOf(const SettingsValue& value) {
    if (const auto* const blob = std::get_if<Blob>(&value)) {
        std::string bytes(blob->size(), '\0');
        blob->copyTo(std::as_writable_bytes(std::span(bytes)));
        return py::bytes(bytes);
    }
    return std::visit(
        [](const auto& plain) -> py::object {
            if constexpr (std::is_same_v<std::decay_t<decltype(plain)>, Blob>)
                return py::none();
            else
                return py::cast(plain);
        },
        value);
}

py::dict settingsIn(const std::string& path) {
    py::dict groups;
    for (const SettingsGroup& group : readSettings(path).groups) {
        py::dict items;
        for (const SettingsItem& item : group.items)
            items[py::str(item.key)] = valueOf(item.value);
        groups[py::str(group.name)] = items;
    }
    return groups;
}

} // namespace

void bindCalibration(py::module_& module) {
    module.def("flat_field", &flatField);
    module.def("beam_hardening", &beamHardening);
    module.def("adaptive", &adaptive);
    module.def("bad_pixels", &badPixels);
    module.def("inspect", &inspect);
    module.def("settings", &settingsIn);
}

} // namespace ombrel::python
