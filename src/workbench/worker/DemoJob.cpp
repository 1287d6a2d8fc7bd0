#include "worker/DemoJob.h"

#include "calibration/FlatFieldCalibration.h"
#include "simulation/SimulatedSet.h"

#include <QtConcurrent>

#include <exception>
#include <filesystem>

namespace ombrel::workbench {

DemoData prepareDemoData(const std::string& folder, const std::string& plugin, Console& console,
                         const std::function<void(int done, int of)>& advanced) {
    const std::filesystem::path path(folder);
    const DemoData demo{(path / "frames.h5").string(), (path / "flat-field.xml").string()};
    // The settings are written last: if they exist, the set is complete.
    if (std::filesystem::exists(demo.flatField) && std::filesystem::exists(demo.frames))
        return demo;

    simulation::SetPlan plan;
    plan.directory = folder;
    plan.gridSteps = 0;
    plan.wedgeSteps = 0;
    int done = 0;
    const int of = static_cast<int>(simulation::imagesOf(plan));
    // Overwrites the files of an interrupted attempt.
    simulation::writeSet(plan, [&] { advanced(++done, of); });

    FlatFieldOptions flats;
    flats.inputs = {demo.frames};
    flats.output = demo.flatField;
    flats.plugin = plugin;
    flats.bad = "ff";
    flats.force = true;
    calibrateFlatField(flats, console);
    return demo;
}

DemoJob::~DemoJob() {
    work.waitForFinished();
}

void DemoJob::start(const std::string& folder) {
    if (running)
        return;
    work.waitForFinished(); // the end of its last signal
    running = true;
    emit advanced(0, 1);
    work = QtConcurrent::run([this, folder] { run(folder); });
}

void DemoJob::run(const std::string& folder) {
    try {
        const DemoData demo =
            prepareDemoData(folder, plugin, console, [this](int done, int of) { emit advanced(done, of); });
        running = false;
        emit made(demo);
    } catch (const std::exception& error) {
        running = false;
        emit failed(error.what());
    }
}

} // namespace ombrel::workbench
