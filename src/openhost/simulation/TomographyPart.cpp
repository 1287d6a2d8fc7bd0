#include "simulation/ScanParts.h"
#include "simulation/StackFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace ombrel::simulation {

namespace {

constexpr const char* tomographyName = "tomography.h5";
constexpr const char* attenuationName = "tomography-attenuation.h5";
constexpr zt::u32 darkFields = 20;
constexpr double offsetCounts = 300; // of a pixel without a beam
constexpr double offsetScatter = 0.15;
constexpr double columnScatter = 0.1; // the columns share amplifiers
constexpr double readNoise = 3;       // counts
constexpr double beamScatter = 0.02;  // of the whole beam, from frame to frame
constexpr double halfTurn = 180;      // degrees

// A body of the sample: a rod along the axis of rotation, or a ball. Places and sizes are in frame widths
// from the axis; heights run from -0.5 to 0.5.
struct Body {
    double x;
    double y;
    double radius;
    double height; // of the middle of a ball
    bool isBall;
    double attenuation; // for each frame width, above that of what surrounds it
};

constexpr std::array<Body, 4> bodies{{{0, 0, 0.32, 0, false, 2.2},
                                      {0.15, 0.02, 0.05, 0, false, 6},
                                      {-0.1, 0.1, 0.1, 0.05, true, 4},
                                      {0, -0.18, 0.07, -0.15, true, -2.2}}};

// At that distance from the middle of the body, and that height.
double attenuationOf(const Body& body, double across, double height) {
    const double up = body.isBall ? height - body.height : 0;
    const double rest = body.radius * body.radius - across * across - up * up;
    return rest > 0 ? 2 * body.attenuation * std::sqrt(rest) : 0;
}

// The attenuation of the sample, turned by that angle, at each pixel.
std::vector<double> projection(const SetPlan& plan, double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    std::vector<double> map;
    map.reserve(std::size_t{plan.width} * plan.height);
    for (zt::u32 row = 0; row < plan.height; ++row)
        for (zt::u32 column = 0; column < plan.width; ++column) {
            const double u = (column + 0.5) / plan.width - 0.5;
            const double v = (row + 0.5) / plan.height - 0.5;
            double sum = 0;
            for (const Body& body : bodies)
                sum += attenuationOf(body, u - body.x * std::cos(angle) - body.y * std::sin(angle), v);
            map.push_back(sum);
        }
    return map;
}

// Pictures of the detector with an integrating read-out, which counts without a beam, too.
class IntegratingFrames {
public:
    explicit IntegratingFrames(const SetContext& setContext)
        : context(setContext), response(context.detector.response(OperatingPoint())),
          beam(beamProfile(context.plan.width, context.plan.height, OperatingPoint().energy)),
          random(context.plan.seed + 4) {
        std::vector<double> columns(context.plan.width);
        for (double& column : columns)
            column = 1 + columnScatter * random.gaussian();
        for (std::size_t i = 0; i < response.size(); ++i)
            offset.push_back(offsetCounts * columns[i % columns.size()] *
                             std::max(0.0, 1 + offsetScatter * random.gaussian()));
    }

    void writeDark(StackFile& file) { write(file, std::vector<zt::u32>(response.size())); }
    void writeBeam(StackFile& file, std::span<const double> passed, double brightness) {
        const double flux = context.plan.flux * brightness;
        write(file, context.exposure.expose(arrivingPhotons(flux, beam, passed), response, flux));
    }
    double brightness() { return 1 + beamScatter * random.gaussian(); }

private:
    void write(StackFile& file, std::vector<zt::u32> counts) {
        for (std::size_t i = 0; i < counts.size(); ++i)
            counts[i] = static_cast<zt::u32>(
                std::max(0.0, std::round(counts[i] + offset[i] + readNoise * random.gaussian())));
        file.writeImage(counts);
        context.advanced();
    }

    const SetContext& context;
    std::vector<double> response;
    std::vector<double> beam;
    std::vector<double> offset;
    Random random;
};

void writeAttenuation(const SetContext& context, std::span<const double> angles) {
    const SetPlan& plan = context.plan;
    StackFile file(context.pathOf(attenuationName));
    file.beginStack("/exchange/data", {plan.angles, plan.width, plan.height, CountType::F64});
    for (const double angle : angles)
        file.writeImage(projection(plan, angle));
    file.addNumbers("/exchange/theta", angles, "degree");
    file.finish();
}

} // namespace

std::vector<std::string> TomographyPart::files(const SetPlan& plan) const {
    return plan.angles == 0 ? std::vector<std::string>()
                            : std::vector<std::string>{tomographyName, attenuationName};
}

zt::u64 TomographyPart::images(const SetPlan& plan) const {
    return plan.angles == 0 ? 0 : zt::u64{plan.angles} + plan.flats + darkFields;
}

void TomographyPart::write(const SetContext& context) const {
    const SetPlan& plan = context.plan;
    if (plan.angles == 0)
        return;
    std::vector<double> angles;
    for (zt::u32 i = 0; i < plan.angles; ++i)
        angles.push_back(halfTurn * i / plan.angles);
    IntegratingFrames frames(context);
    StackFile file(context.pathOf(tomographyName));
    file.beginStack("/exchange/data_dark", {darkFields, plan.width, plan.height});
    for (zt::u32 i = 0; i < darkFields; ++i)
        frames.writeDark(file);
    context.exposure.beginStack(plan.flats);
    file.beginStack("/exchange/data_white", {plan.flats, plan.width, plan.height});
    for (zt::u32 i = 0; i < plan.flats; ++i)
        frames.writeBeam(file, {}, 1);
    context.exposure.beginStack(plan.angles);
    file.beginStack("/exchange/data", {plan.angles, plan.width, plan.height});
    for (const double angle : angles) {
        auto passed = projection(plan, angle);
        std::ranges::transform(passed, passed.begin(), [](double value) { return std::exp(-value); });
        frames.writeBeam(file, passed, frames.brightness());
    }
    file.addNumbers("/exchange/theta", angles, "degree");
    file.addNumber("/exchange/count_time", 1.0);
    file.finish();
    writeAttenuation(context, angles);
}

} // namespace ombrel::simulation
