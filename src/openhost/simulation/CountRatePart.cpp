#include "base/AtomicFile.h"
#include "base/Numbers.h"
#include "simulation/ScanParts.h"
#include "simulation/StackFile.h"

#include <array>
#include <cmath>

namespace ombrel::simulation {

double DeadTime::counted(double rate) const {
    const double lost = rate * seconds;
    return isParalysable ? rate * std::exp(-lost) : rate / (1 + lost);
}

std::vector<DeadTime> deadTimes(const DetectorModel& detector, const DeadTime& mean, std::uint64_t seed) {
    constexpr double scatter = 0.05;
    Random random(seed);
    std::vector<DeadTime> times(detector.pixelCount(), mean);
    for (DeadTime& time : times)
        time.seconds *= 1 + scatter * random.gaussian();
    return times;
}

namespace {

constexpr const char* rateFramesName = "count-rate-frames.h5";
constexpr const char* rateTableName = "count-rate-frames.csv";
constexpr zt::u32 framesPerFlux = 20;
constexpr zt::u32 samplesPerFlux = 10;
constexpr double million = 1e6;
// Counts a second and pixel without dead time, in millions.
constexpr std::array calibrationFluxes{1.8, 2.0, 2.2, 2.4, 2.6, 2.8};
constexpr std::array sampleFluxes{2.0, 2.1, 2.3, 2.5, 2.6};

std::string fluxName(double flux) {
    return "count-rate-" + numberText(flux) + ".h5";
}

// Frames of one second, of a detector that every pixel of which sees the same flux.
class FluxFrames {
public:
    explicit FluxFrames(const SetContext& setContext)
        : context(setContext), response(context.detector.response(OperatingPoint())),
          times(deadTimes(context.detector, {context.plan.deadTime * 1e-9, context.plan.isParalysable},
                          context.plan.seed + 3)) {
        double sum = 0;
        for (const double value : response)
            sum += value;
        level = sum / static_cast<double>(response.size());
    }

    void write(StackFile& file, double flux, zt::u32 count) const {
        std::vector<double> counts(response.size());
        for (std::size_t i = 0; i < counts.size(); ++i)
            counts[i] = times[i].counted(flux * million * response[i] / level);
        const std::vector<double> full(response.size(), 1.0);
        for (zt::u32 i = 0; i < count; ++i) {
            file.writeImage(context.exposure.expose(counts, full, million));
            context.advanced();
        }
    }

private:
    const SetContext& context;
    std::vector<double> response;
    std::vector<DeadTime> times;
    double level = 0;
};

} // namespace

std::vector<std::string> CountRatePart::files(const SetPlan& plan) const {
    if (plan.deadTime == 0)
        return {};
    std::vector<std::string> names{rateFramesName, rateTableName};
    for (const double flux : calibrationFluxes)
        names.push_back(fluxName(flux));
    return names;
}

zt::u64 CountRatePart::images(const SetPlan& plan) const {
    return plan.deadTime == 0
               ? 0
               : calibrationFluxes.size() * framesPerFlux + sampleFluxes.size() * samplesPerFlux;
}

void CountRatePart::write(const SetContext& context) const {
    const SetPlan& plan = context.plan;
    if (plan.deadTime == 0)
        return;
    const FluxFrames frames(context);
    for (const double flux : calibrationFluxes) {
        StackFile file(context.pathOf(fluxName(flux)));
        file.beginStack("/exchange/data", {framesPerFlux, plan.width, plan.height, CountType::U32});
        frames.write(file, flux, framesPerFlux);
        file.addNumber("/exchange/count_time", 1.0);
        file.finish();
    }
    StackFile file(context.pathOf(rateFramesName));
    file.beginStack("/exchange/data", {static_cast<zt::u32>(sampleFluxes.size()) * samplesPerFlux, plan.width,
                                       plan.height, CountType::U32});
    std::string table = "frame,flux\n";
    for (zt::u32 frame = 0; const double flux : sampleFluxes) {
        frames.write(file, flux, samplesPerFlux);
        for (zt::u32 i = 0; i < samplesPerFlux; ++i)
            table += std::to_string(frame++) + "," + numberText(flux) + "\n";
    }
    file.addNumber("/exchange/count_time", 1.0);
    file.finish();
    replaceFile(context.pathOf(rateTableName), table);
}

} // namespace ombrel::simulation
