#include "simulation/GridPart.h"

#include "base/AtomicFile.h"
#include "base/Numbers.h"
#include "simulation/Scene.h"
#include "simulation/StackFile.h"

#include <algorithm>

namespace ombrel::simulation {

namespace {

struct Axis {
    double first;
    double last;

    double at(double part) const { return first + part * (last - first); }
};

constexpr Axis bias{120, 180};   // volts
constexpr Axis threshold{8, 12}; // keV
constexpr Axis energy{22, 28};   // keV

// Three numbers of 0 to steps - 1 become parts of the axes; `shift` is in steps.
std::vector<OperatingPoint> combinations(std::size_t count, std::size_t steps, double shift) {
    const double whole = steps > 1 ? static_cast<double>(steps - 1) : 1;
    const auto part = [&](std::size_t index) { return (static_cast<double>(index) + shift) / whole; };
    std::vector<OperatingPoint> points;
    for (std::size_t v = 0; v < count; ++v)
        for (std::size_t t = 0; t < count; ++t)
            for (std::size_t e = 0; e < count; ++e)
                points.push_back({bias.at(part(v)), threshold.at(part(t)), energy.at(part(e))});
    return points;
}

} // namespace

std::vector<OperatingPoint> gridPoints(std::size_t steps) {
    return combinations(steps, steps, 0);
}

std::vector<OperatingPoint> gridMidpoints(std::size_t steps) {
    return combinations(steps - 1, steps, 0.5);
}

std::vector<OperatingPoint> gridDrift(std::size_t frames) {
    std::vector<OperatingPoint> points;
    for (std::size_t i = 0; i < frames; ++i) {
        const double part = (static_cast<double>(i) + 0.5) / static_cast<double>(frames);
        points.push_back({bias.at(part), threshold.at(part), energy.at(1 - part)});
    }
    return points;
}

namespace {

constexpr const char* tableName = "grid.csv";
constexpr const char* flatsName = "grid-flats.h5";
constexpr const char* framesTableName = "grid-frames.csv";
constexpr const char* openAreaName = "open-area.h5";
constexpr const char* maskName = "compensation-mask.h5";

constexpr zt::u32 flatsPerPoint = 3;
constexpr double flatFlux = 900'000; // photons, for 2 million counts in all flats of a point
constexpr double frameFlux = 27'000; // photons, for 20,000 counts
constexpr zt::u32 driftFrames = 50;  // none lies halfway between two flat fields, where both are equally good
constexpr double blackTransmission = 0.001;
constexpr zt::u32 maskedCorner = 4; // pixels; a repair of single pixels does not reach its middle

struct FrameFilePlan {
    const char* name;
    std::vector<OperatingPoint> points;
};

std::vector<FrameFilePlan> frameFiles(const SetPlan& plan) {
    return {{"on-grid.h5", gridPoints(plan.gridSteps)},
            {"midpoints.h5", gridMidpoints(plan.gridSteps)},
            {"drifting.h5", gridDrift(driftFrames)}};
}

std::string rowText(const OperatingPoint& point) {
    return numberText(point.bias) + "," + numberText(point.threshold) + "," + numberText(point.energy);
}

std::string datasetOf(const OperatingPoint& point) {
    return "/v" + numberText(point.bias) + "/t" + numberText(point.threshold) + "/e" +
           numberText(point.energy);
}

void writeText(const SetContext& context, const char* name, const std::string& text) {
    replaceFile(context.pathOf(name), text);
}

// The block of lead in a corner of the frame.
bool isBlack(std::size_t x, std::size_t y, const SetPlan& plan) {
    return x < plan.width / 8 && y >= plan.height - plan.height / 8;
}

std::vector<double> sampleBehindBlock(const SetPlan& plan) {
    auto passed = transmission(sampleThickness(plan.width, plan.height, 0));
    for (std::size_t y = 0; y < plan.height; ++y)
        for (std::size_t x = 0; x < plan.width; ++x)
            if (isBlack(x, y, plan))
                passed[y * plan.width + x] = blackTransmission;
    return passed;
}

std::vector<zt::u32> expose(const SetContext& context, const OperatingPoint& point, double flux,
                            std::span<const double> passed) {
    const auto beam = beamProfile(context.plan.width, context.plan.height, point.energy);
    auto counts =
        context.exposure.expose(arrivingPhotons(flux, beam, passed), context.detector.response(point), flux);
    context.advanced();
    return counts;
}

void writeFlats(const SetContext& context) {
    const SetPlan& plan = context.plan;
    StackFile file(context.pathOf(flatsName));
    std::string table = "v,t,e,file\n";
    for (const OperatingPoint& point : gridPoints(plan.gridSteps)) {
        const std::string dataset = datasetOf(point);
        file.beginStack(dataset, {flatsPerPoint, plan.width, plan.height, CountType::U32});
        for (zt::u32 i = 0; i < flatsPerPoint; ++i)
            file.writeImage(expose(context, point, flatFlux, {}));
        table += rowText(point) + "," + flatsName + "::" + dataset + "\n";
    }
    file.finish();
    writeText(context, tableName, table);
}

void writeFrames(const SetContext& context) {
    const SetPlan& plan = context.plan;
    const auto passed = sampleBehindBlock(plan);
    std::string table = "file,frame,v,t,e\n";
    for (const FrameFilePlan& frames : frameFiles(plan)) {
        StackFile file(context.pathOf(frames.name));
        file.beginStack("/exchange/data",
                        {static_cast<zt::u32>(frames.points.size()), plan.width, plan.height});
        for (std::size_t i = 0; i < frames.points.size(); ++i) {
            file.writeImage(expose(context, frames.points[i], frameFlux, passed));
            table +=
                std::string(frames.name) + "," + std::to_string(i) + "," + rowText(frames.points[i]) + "\n";
        }
        file.finish();
    }
    writeText(context, framesTableName, table);
}

// Writes 0 where `isOut` is true and at dead and hot pixels, else 1.
void writeMask(const SetContext& context, const char* name, auto isOut) {
    const SetPlan& plan = context.plan;
    std::vector<zt::u32> mask(context.detector.pixelCount());
    for (std::size_t i = 0; i < mask.size(); ++i)
        mask[i] = !isOut(i % plan.width, i / plan.width);
    for (const auto* spoilt : {&context.detector.deadPixels(), &context.detector.hotPixels()})
        for (const std::size_t pixel : *spoilt)
            mask[pixel] = 0;
    StackFile file(context.pathOf(name));
    file.beginStack("/exchange/data", {1, plan.width, plan.height});
    file.writeImage(mask);
    file.finish();
}

} // namespace

std::vector<std::string> GridPart::files(const SetPlan& plan) const {
    if (plan.gridSteps == 0)
        return {};
    std::vector<std::string> names{tableName, flatsName, framesTableName, openAreaName, maskName};
    for (const FrameFilePlan& frames : frameFiles(plan))
        names.push_back(frames.name);
    return names;
}

zt::u64 GridPart::images(const SetPlan& plan) const {
    if (plan.gridSteps == 0)
        return 0;
    zt::u64 images = gridPoints(plan.gridSteps).size() * flatsPerPoint;
    for (const FrameFilePlan& frames : frameFiles(plan))
        images += frames.points.size();
    return images;
}

void GridPart::write(const SetContext& context) const {
    const SetPlan& plan = context.plan;
    if (plan.gridSteps == 0)
        return;
    writeFlats(context);
    writeFrames(context);
    const auto passed = sampleBehindBlock(plan);
    writeMask(
        context, openAreaName, [&](std::size_t x, std::size_t y) { return passed[y * plan.width + x] != 1; });
    writeMask(context, maskName,
              [&](std::size_t x, std::size_t y) { return x < maskedCorner && y < maskedCorner; });
}

} // namespace ombrel::simulation
