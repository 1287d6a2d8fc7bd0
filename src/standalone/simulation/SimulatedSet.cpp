#include "standalone/simulation/SimulatedSet.h"

#include "standalone/Error.h"
#include "standalone/simulation/DetectorModel.h"
#include "standalone/simulation/Random.h"
#include "standalone/simulation/Scene.h"
#include "standalone/simulation/StackFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>
#include <filesystem>
#include <limits>

namespace ombrel::simulation {

namespace {

constexpr double driftPerStack = 0.06; // frame widths that the sample moves from the first frame to the last

// The detector in its beam, with the noise of one data set.
class Acquisition {
public:
    explicit Acquisition(const SetPlan& setPlan)
        : plan(setPlan), detector(plan.width, plan.height, plan.seed),
          beam(beamProfile(plan.width, plan.height)), noise(plan.seed + 1000) {}

    const DetectorModel& model() const { return detector; }

    // Counts behind something that lets through a part of the beam in each pixel; nothing when empty.
    std::vector<zt::u16> expose(const std::vector<double>& transmission) {
        std::vector<double> photons(detector.pixelCount());
        for (std::size_t i = 0; i < photons.size(); ++i)
            photons[i] =
                plan.flux * beam[i] * detector.response()[i] * (transmission.empty() ? 1 : transmission[i]);
        for (const std::size_t pixel : detector.hotPixels())
            photons[pixel] = DetectorModel::hotCounts(plan.flux);
        std::vector<zt::u16> counts(photons.size());
        std::ranges::transform(photons, counts.begin(), [&](double mean) {
            return static_cast<zt::u16>(
                std::min<double>(noise.poisson(mean), std::numeric_limits<zt::u16>::max()));
        });
        return counts;
    }

private:
    const SetPlan& plan;
    DetectorModel detector;
    std::vector<double> beam;
    Random noise;
};

void writeFrames(const SetPlan& plan, const std::string& path, Acquisition& acquisition,
                 const std::function<void()>& advanced) {
    StackFile file(path);
    {
        const Hdf5Dataset flats = file.addStack("/exchange/data_white", plan.flats, plan.width, plan.height);
        for (zt::u32 i = 0; i < plan.flats; ++i) {
            file.writeImage(flats, i, acquisition.expose({}));
            advanced();
        }
        const Hdf5Dataset frames = file.addStack("/exchange/data", plan.frames, plan.width, plan.height);
        for (zt::u32 i = 0; i < plan.frames; ++i) {
            const double shift = driftPerStack * i / plan.frames;
            file.writeImage(frames, i,
                            acquisition.expose(sampleTransmission(plan.width, plan.height, shift)));
            advanced();
        }
        file.addNumber("/exchange/count_time", 1.0);
    }
    file.finish();
}

void saveWhole(const std::string& path, const QByteArray& bytes) {
    QSaveFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw Error(path + ": can't write the file: " + file.errorString().toStdString());
}

QJsonArray indexList(const std::vector<std::size_t>& pixels) {
    QJsonArray list;
    for (const std::size_t pixel : pixels)
        list.append(static_cast<qint64>(pixel));
    return list;
}

QByteArray description(const SetPlan& plan, const DetectorModel& detector) {
    const QJsonObject document{
        {"width", static_cast<qint64>(plan.width)},       {"height", static_cast<qint64>(plan.height)},
        {"frames", static_cast<qint64>(plan.frames)},     {"flats", static_cast<qint64>(plan.flats)},
        {"photonsPerPixelAndFrame", plan.flux},           {"seed", QString::number(plan.seed)},
        {"deadPixels", indexList(detector.deadPixels())}, {"hotPixels", indexList(detector.hotPixels())}};
    return QJsonDocument(document).toJson();
}

void refuseToReplace(const std::vector<std::string>& files) {
    for (const std::string& file : files)
        if (std::filesystem::exists(file))
            throw Error(file + ": exists; give --force to replace the set");
}

} // namespace

zt::u64 framesOf(const SetPlan& plan) {
    return zt::u64{plan.frames} + plan.flats;
}

std::vector<std::string> writeSet(const SetPlan& plan, const std::function<void()>& advanced) {
    const std::filesystem::path folder(plan.directory);
    const std::string frames = (folder / "frames.h5").string();
    const std::string about = (folder / "simulation.json").string();
    if (!plan.force)
        refuseToReplace({frames, about});
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure)
        throw Error(plan.directory + ": can't make the folder: " + failure.message());

    Acquisition acquisition(plan);
    writeFrames(plan, frames, acquisition, advanced);
    saveWhole(about, description(plan, acquisition.model()));
    return {frames, about};
}

} // namespace ombrel::simulation
