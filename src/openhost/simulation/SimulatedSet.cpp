#include "simulation/SimulatedSet.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "simulation/GridPart.h"
#include "simulation/ScanParts.h"

#include <QJsonArray>
#include <QJsonObject>

#include <memory>

namespace ombrel::simulation {

namespace {

constexpr const char* aboutName = "simulation.json";

std::vector<std::unique_ptr<SetPart>> partsOf(const SetPlan&) {
    std::vector<std::unique_ptr<SetPart>> parts;
    parts.push_back(std::make_unique<ImagingPart>());
    parts.push_back(std::make_unique<GridPart>());
    parts.push_back(std::make_unique<WedgePart>());
    parts.push_back(std::make_unique<CountRatePart>());
    parts.push_back(std::make_unique<TomographyPart>());
    return parts;
}

void makeFolder(const SetPlan& plan) {
    std::error_code failure;
    std::filesystem::create_directories(plan.directory, failure);
    if (failure)
        throw Error(plan.directory + ": can't make the folder: " + failure.message());
}

QJsonArray indexList(const std::vector<std::size_t>& pixels) {
    QJsonArray list;
    for (const std::size_t pixel : pixels)
        list.append(static_cast<qint64>(pixel));
    return list;
}

QJsonObject description(const SetPlan& plan, const DetectorModel& detector) {
    QJsonObject json{{"width", static_cast<qint64>(plan.width)},
                     {"height", static_cast<qint64>(plan.height)},
                     {"frames", static_cast<qint64>(plan.frames)},
                     {"flats", static_cast<qint64>(plan.flats)},
                     {"photonsPerPixelAndFrame", plan.flux},
                     {"gridSteps", static_cast<qint64>(plan.gridSteps)},
                     {"wedgeSteps", static_cast<qint64>(plan.wedgeSteps)},
                     {"seed", QString::number(plan.seed)},
                     {"deadPixels", indexList(detector.deadPixels())},
                     {"hotPixels", indexList(detector.hotPixels())}};
    if (plan.angles > 0)
        json.insert("angles", static_cast<qint64>(plan.angles));
    if (plan.deadTime > 0) {
        json.insert("deadTimeNanoseconds", plan.deadTime);
        json.insert("paralysable", plan.isParalysable);
    }
    if (!plan.faults.isEmpty()) {
        json.insert("noisyPixels", indexList(detector.noisyPixels()));
        json.insert("flickeringPixels", indexList(detector.flickeringPixels()));
        json.insert("burstingPixels", indexList(detector.burstingPixels()));
        json.insert("gapPixels", indexList(detector.gapPixels()));
    }
    return json;
}

} // namespace

std::vector<std::string> filesOf(const SetPlan& plan) {
    std::vector<std::string> names;
    for (const auto& part : partsOf(plan)) {
        const auto own = part->files(plan);
        names.insert(names.end(), own.begin(), own.end());
    }
    names.push_back(aboutName);
    std::vector<std::string> paths;
    for (const std::string& name : names)
        paths.push_back((std::filesystem::path(plan.directory) / name).string());
    return paths;
}

zt::u64 imagesOf(const SetPlan& plan) {
    zt::u64 images = 0;
    for (const auto& part : partsOf(plan))
        images += part->images(plan);
    return images;
}

void writeSet(const SetPlan& plan, const std::function<void()>& advanced) {
    makeFolder(plan);
    const DetectorModel detector(plan.width, plan.height, plan.seed, plan.faults);
    Exposure exposure(detector, plan.seed + 1000);
    const SetContext context{plan, detector, exposure, advanced};
    for (const auto& part : partsOf(plan))
        part->write(context);
    writeJsonFile(context.pathOf(aboutName), description(plan, detector));
}

} // namespace ombrel::simulation
