#include "base/Error.h"
#include "module/Arrays.h"
#include "module/Bindings.h"
#include "module/Messages.h"
#include "run/RunNotes.h"
#include "run/RunPaths.h"

#include <atomic>
#include <chrono>
#include <limits>
#include <map>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace ombrel::python {

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// A FrameRow as an element of a structured array.
struct Row {
    zt::u64 frame;
    bool failed;
    zt::u64 input_hash;
    zt::u64 output_hash;
    zt::u64 marked;
    double input_mean;
    double input_spread;
    zt::u64 input_zeros;
    zt::u64 input_not_finite;
    double output_mean;
    double output_spread;
    zt::u64 output_zeros;
    zt::u64 output_not_finite;
    double seconds;
    double v;
    double t;
    double e;
    double quality;
    double level;
    zt::u64 not_positive;
};

Row rowOf(zt::u64 frame, const FrameRow& row) {
    Row made{frame,
             row.failed,
             row.inputHash,
             row.outputHash,
             row.marked,
             row.input.mean,
             row.input.spread,
             row.input.zeroPixels,
             row.input.notFinite,
             row.output.mean,
             row.output.spread,
             row.output.zeroPixels,
             row.output.notFinite,
             row.seconds,
             notANumber,
             notANumber,
             notANumber,
             notANumber,
             row.level.value_or(notANumber),
             row.notPositive};
    if (row.failed)
        made.output_mean = made.output_spread = notANumber;
    if (row.choice) {
        const ScoredPoint& best = row.choice->best;
        made.v = best.v;
        made.t = best.t;
        made.e = best.e;
        made.quality = best.value;
    }
    return made;
}

// Calls Python now and then while a run works on this thread without the interpreter.
class Watch {
public:
    explicit Watch(py::object progressCall) : progress(std::move(progressCall)) {}

    void begin(zt::u64 allFrames, zt::u64 framesDone) {
        total = allFrames;
        done = framesDone;
    }

    void frameDone() {
        ++done;
        const auto now = std::chrono::steady_clock::now();
        if (now - called < std::chrono::milliseconds(100) && done != total)
            return;
        called = now;
        const py::gil_scoped_acquire held;
        passOnMessages();
        if (PyErr_CheckSignals() != 0)
            return keep(py::error_already_set());
        if (progress.is_none())
            return;
        try {
            progress(done, total);
        } catch (py::error_already_set& thrown) {
            keep(std::move(thrown));
        }
    }
    bool wantsStop() const { return stop; }
    void rethrow() {
        if (error)
            throw *error;
    }

private:
    void keep(py::error_already_set thrown) {
        error.emplace(std::move(thrown));
        stop = true;
    }

    py::object progress;
    zt::u64 total = 0;
    zt::u64 done = 0;
    std::chrono::steady_clock::time_point called;
    std::atomic<bool> stop = false;
    std::optional<py::error_already_set> error; // what Python raised
};

class Rows {
public:
    void add(zt::u64 frame, const FrameRow& row) {
        rows.push_back(rowOf(frame, row));
        if (row.failed)
            reasons.emplace(frame, row.reason);
    }

    py::tuple asPython() const {
        return py::make_tuple(py::array_t<Row>(static_cast<py::ssize_t>(rows.size()), rows.data()), reasons);
    }
    bool allFailed() const { return !rows.empty() && reasons.size() == rows.size(); }
    FrameFailure firstFailure() const {
        return {reasons.begin()->second, static_cast<long long>(reasons.begin()->first)};
    }

private:
    std::vector<Row> rows;
    std::map<zt::u64, std::string> reasons;
};

void announce(RunSetup& run) {
    for (const std::string& line : warningsOn(run))
        console().warning(line);
    console().warning(saturationNote(run.stack, run.range.begin, run.options.marks));
}

void announceEnd(const RunSetup& run, const RunNotes& notes) {
    for (const auto& lines : {notes.failures(), notes.remarks()})
        for (const std::string& line : lines)
            console().warning(line);
    if (run.workers.choices) {
        console().warning(run.workers.choices->loss());
        console().warning(run.workers.choices->drift());
    }
}

// Called without the interpreter.
void correctAll(const RunOptions& options, Watch& watch, Rows& rows) {
    pathsOf(options).check(console());
    RunSetup run(options, console());
    announce(run);
    if (run.begun)
        for (std::size_t i = 0; i < run.begun->rows.size(); ++i)
            rows.add(run.range.begin + i, run.begun->rows[i]);
    if (run.begun && run.begun->complete)
        return;
    watch.begin(run.range.count(), run.begun ? run.begun->framesDone : 0);
    RunNotes notes(run.stack);
    BatchListener listener;
    listener.frameDone = [&](zt::u64) { watch.frameDone(); };
    listener.frameRow = [&](zt::u64 frame, const FrameRow& row) {
        rows.add(frame, row);
        notes.add(frame, row);
    };
    listener.wantsStop = [&] { return watch.wantsStop(); };
    try {
        run.run(listener);
    } catch (...) {
        announceEnd(run, notes);
        throw;
    }
    announceEnd(run, notes);
}

py::tuple runFrames(const Filters& filters, const std::vector<std::string>& inputs, const std::string& output,
                    const py::dict& more) {
    RunOptions options = filters.plan();
    options.inputs = inputs;
    options.output = output;
    options.frames = more["frames"].cast<std::string>();
    options.outputType = more["output_type"].cast<std::string>();
    options.mask.source = more["mask"].cast<std::string>();
    options.dark = more["dark"].cast<std::string>();
    options.quantity = {more["quantity"].cast<std::string>(), more["level_region"].cast<std::string>()};
    options.acqTime = more["time"].cast<std::optional<double>>();
    options.jobs = more["jobs"].cast<std::optional<unsigned>>();
    options.resume = argumentAs<bool>("resume", more["resume"], "True or False");
    options.force = argumentAs<bool>("force", more["force"], "True or False");
    const MessageScope messages;
    Watch watch(more["progress"]);
    Rows rows;
    {
        const py::gil_scoped_release released;
        correctAll(options, watch, rows);
    }
    watch.rethrow();
    if (rows.allFailed())
        throw rows.firstFailure();
    return rows.asPython();
}

} // namespace

void bindRun(py::module_& module) {
    PYBIND11_NUMPY_DTYPE(Row, frame, failed, input_hash, output_hash, marked, input_mean, input_spread,
                         input_zeros, input_not_finite, output_mean, output_spread, output_zeros,
                         output_not_finite, seconds, v, t, e, quality, level, not_positive);
    module.def("run", &runFrames);
}

} // namespace ombrel::python
