#include "simulation/ImagingPart.h"

#include "simulation/Scene.h"
#include "simulation/StackFile.h"

namespace ombrel::simulation {

namespace {

constexpr const char* framesName = "frames.h5";
constexpr const char* deviceMaskName = "device-mask.h5";
constexpr double driftPerStack = 0.06; // frame widths that the sample moves from the first frame to the last

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
    file.beginStack("/exchange/data_white", {plan.flats, plan.width, plan.height});
    for (zt::u32 i = 0; i < plan.flats; ++i)
        takePicture({});
    file.beginStack("/exchange/data", {plan.frames, plan.width, plan.height});
    for (zt::u32 i = 0; i < plan.frames; ++i)
        takePicture(transmission(sampleThickness(plan.width, plan.height, driftPerStack * i / plan.frames)));
    file.addNumber("/exchange/count_time", 1.0);
    file.finish();
}

void writeMask(const SetContext& context) {
    std::vector<zt::u32> mask(context.detector.pixelCount(), 1);
    for (const auto* spoilt : {&context.detector.deadPixels(), &context.detector.hotPixels()})
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

} // namespace ombrel::simulation
