#include "simulation/ScanParts.h"

#include "base/Numbers.h"
#include "simulation/Scene.h"
#include "simulation/StackFile.h"

#include <algorithm>
#include <cmath>

namespace ombrel::simulation {

namespace {

constexpr const char* framesName = "frames.h5";
constexpr const char* deviceMaskName = "device-mask.h5";
constexpr double driftPerStack = 0.06; // total movement of the sample, in frame widths

void writeScan(const SetContext& context) {
    const SetPlan& plan = context.plan;
    const OperatingPoint point;
    const auto response = context.detector.response(point);
    const auto beam = beamProfile(plan.width, plan.height, point.energy);
    StackFile file(context.pathOf(framesName));

    const auto takePicture = [&](std::span<const double> passed) {
        const auto photons = arrivingPhotons(plan.flux, beam, passed);
        file.writeImage(context.exposure.expose(photons, response, plan.flux));
        context.advanced();
    };
    context.exposure.beginStack(plan.flats);
    file.beginStack("/exchange/data_white", {plan.flats, plan.width, plan.height});
    for (zt::u32 i = 0; i < plan.flats; ++i)
        takePicture({});
    context.exposure.beginStack(plan.frames);
    file.beginStack("/exchange/data", {plan.frames, plan.width, plan.height});
    for (zt::u32 i = 0; i < plan.frames; ++i)
        takePicture(transmission(sampleThickness(plan.width, plan.height, driftPerStack * i / plan.frames)));
    file.addNumber("/exchange/count_time", 1.0);
    file.finish();
}

void writeMask(const SetContext& context) {
    std::vector<zt::u32> mask(context.detector.pixelCount(), 1);
    const DetectorModel& detector = context.detector;
    for (const auto* spoilt :
         {&detector.deadPixels(), &detector.hotPixels(), &detector.noisyPixels(),
          &detector.flickeringPixels(), &detector.burstingPixels(), &detector.gapPixels()})
        for (const std::size_t pixel : *spoilt)
            mask[pixel] = 0;
    StackFile file(context.pathOf(deviceMaskName));
    file.beginStack("/exchange/data", {1, context.plan.width, context.plan.height});
    file.writeImage(mask);
    file.finish();
}

} // namespace

std::vector<std::string> ImagingPart::files(const SetPlan&) const {
    return {framesName, deviceMaskName};
}

zt::u64 ImagingPart::images(const SetPlan& plan) const {
    return zt::u64{plan.frames} + plan.flats;
}

void ImagingPart::write(const SetContext& context) const {
    writeScan(context);
    writeMask(context);
}

namespace {

constexpr const char* sampleName = "wedge-sample.h5";
constexpr const char* thicknessName = "wedge-thickness.h5";
constexpr zt::u32 framesPerStep = 20;
constexpr zt::u32 sampleFrames = 10;

double stepThickness(zt::u32 step) {
    return 3 * step / 10.0; // millimetres; the last of ten steps is thicker than the sample
}

std::string stepName(zt::u32 step) {
    return "wedge-" + numberText(stepThickness(step)) + "mm.h5";
}

// Photons that pass a sample of those thicknesses, and the detector's response to them.
class Wedge {
public:
    explicit Wedge(const SetContext& setContext)
        : context(setContext), response(context.detector.response(OperatingPoint())),
          beam(beamProfile(context.plan.width, context.plan.height, OperatingPoint().energy)) {}

    void writeFrames(const std::string& name, zt::u32 count, std::span<const double> thickness) const {
        const SetPlan& plan = context.plan;
        const auto arriving = photons(thickness);
        StackFile file(context.pathOf(name));
        file.beginStack("/exchange/data", {count, plan.width, plan.height});
        for (zt::u32 i = 0; i < count; ++i) {
            file.writeImage(context.exposure.expose(arriving, response, plan.flux));
            context.advanced();
        }
        file.addNumber("/exchange/count_time", 1.0);
        file.finish();
    }

    // The relative noise of a count, 1 / sqrt(count), divided by the attenuation per millimetre.
    std::vector<double> noise(std::span<const double> thickness) const {
        const auto arriving = photons(thickness);
        std::vector<double> map(thickness.size());
        for (std::size_t i = 0; i < map.size(); ++i)
            map[i] = 1 / (std::sqrt(arriving[i] * response[i]) * spectrumAttenuation(thickness[i]));
        for (const auto* spoilt : {&context.detector.deadPixels(), &context.detector.hotPixels()})
            for (const std::size_t pixel : *spoilt)
                map[pixel] = 0;
        return map;
    }

private:
    std::vector<double> photons(std::span<const double> thickness) const {
        std::vector<double> passed(thickness.size());
        std::ranges::transform(thickness, passed.begin(), spectrumTransmission);
        return arrivingPhotons(context.plan.flux, beam, passed);
    }

    const SetContext& context;
    std::vector<double> response;
    std::vector<double> beam;
};

void writeMaps(const SetContext& context, std::span<const double> thickness, std::span<const double> noise) {
    const StackShape map{1, context.plan.width, context.plan.height, CountType::F64};
    StackFile file(context.pathOf(thicknessName));
    file.beginStack("/exchange/data", map);
    file.writeImage(thickness);
    file.beginStack("/noise/data", map);
    file.writeImage(noise);
    file.finish();
}

} // namespace

std::vector<std::string> WedgePart::files(const SetPlan& plan) const {
    if (plan.wedgeSteps == 0)
        return {};
    std::vector<std::string> names{sampleName, thicknessName};
    for (zt::u32 step = 0; step < plan.wedgeSteps; ++step)
        names.push_back(stepName(step));
    return names;
}

zt::u64 WedgePart::images(const SetPlan& plan) const {
    return plan.wedgeSteps == 0 ? 0 : zt::u64{plan.wedgeSteps} * framesPerStep + sampleFrames;
}

void WedgePart::write(const SetContext& context) const {
    const SetPlan& plan = context.plan;
    if (plan.wedgeSteps == 0)
        return;
    const Wedge wedge(context);
    for (zt::u32 step = 0; step < plan.wedgeSteps; ++step)
        wedge.writeFrames(stepName(step), framesPerStep,
                          std::vector<double>(context.detector.pixelCount(), stepThickness(step)));
    const auto thickness = sampleThickness(plan.width, plan.height, 0);
    wedge.writeFrames(sampleName, sampleFrames, thickness);
    writeMaps(context, thickness, wedge.noise(thickness));
}

} // namespace ombrel::simulation
