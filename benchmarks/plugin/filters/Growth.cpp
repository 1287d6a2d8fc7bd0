// How the time of each filter grows with the pixels of a frame: the exponent of a power law from 256 x 256 to
// 4096 x 4096, which is 1 while a pixel always costs the same. Memory alone, with a loop that reads two
// frames and writes one, grows faster than that once frames leave the caches: a filter cannot do better.
#include "Interleaved.h"
#include "filters/BHFilter.h"
#include "filters/Binning2x2.h"
#include "filters/FFFilter.h"
#include "host/Host.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <random>

namespace {

using ombrel::Frame;
using ombrel::FramePtr;

struct DestroyFilter {
    void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
};

template <typename Filter>
using FilterPtr = std::unique_ptr<Filter, DestroyFilter>;

template <typename T>
FramePtr countsFrame(zt::u32 side, zt::u8 type, double mean) {
    FramePtr frame = Frame::create(side, side, type);
    std::mt19937_64 random(9);
    std::uniform_real_distribution<double> counts(0.9 * mean, 1.1 * mean);
    for (T& pixel : frame->pixels<T>())
        pixel = static_cast<T>(counts(random));
    return frame;
}

void correct(zt::IDataFilter& filter, const Frame& frame) {
    FramePtr(static_cast<Frame*>(static_cast<zt::IMpxFrame*>(filter.filter(&frame))));
}

// Seconds a frame.
std::vector<double> timesAt(zt::u32 side) {
    ombrel::Host host([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    ombrel::Device& device = host.addDevice(1, side, side);
    const FilterPtr<PluginOmbrel::FFFilter> flatField(new PluginOmbrel::FFFilter(&host, &device));
    host.frames().defineFrame("flat", countsFrame<double>(side, zt::DT_DOUBLE, 1000));
    flatField->loadCoefficientsFromFile("flat", false);
    const FilterPtr<PluginOmbrel::BHFilter> beamHardening(new PluginOmbrel::BHFilter(&host, &device));
    for (int step = 0; step < 4; ++step)
        beamHardening->addMaskFromFrame(
            countsFrame<double>(side, zt::DT_DOUBLE, 10000 * std::exp(-0.6 * step)).get(), step, 1);
    beamHardening->logarithmMasks();
    const FilterPtr<PluginOmbrel::Binning2x2> binning(new PluginOmbrel::Binning2x2(&host, &device));
    const FramePtr counts = countsFrame<zt::u16>(side, zt::DT_U16, 1000);
    const FramePtr rates = countsFrame<double>(side, zt::DT_DOUBLE, 5000);
    rates->setAcqTime(1);
    const FramePtr other = countsFrame<double>(side, zt::DT_DOUBLE, 1);
    const FramePtr target = Frame::create(side, side, zt::DT_DOUBLE);
    const auto memory = [&] {
        const auto one = rates->pixels<double>(), two = other->pixels<double>(),
                   out = target->pixels<double>();
        for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = one[i] + two[i];
        keep(out.data());
    };
    return interleavedMedians({{"Flat-Field", [&] { correct(*flatField, *counts); }},
                               {"Beam-hardening", [&] { correct(*beamHardening, *rates); }},
                               {"Binning 2x2", [&] { correct(*binning, *counts); }},
                               {"memory", memory}},
                              11);
}

double logOf(zt::u32 side) {
    return 2 * std::log(static_cast<double>(side));
}

// The slope of the straight line through the logarithms of times and pixels.
double exponentOf(const std::vector<zt::u32>& sides, const std::vector<std::vector<double>>& times,
                  std::size_t contender) {
    double x = 0, y = 0, xx = 0, xy = 0;
    for (std::size_t i = 0; i < sides.size(); ++i) {
        x += logOf(sides[i]);
        y += std::log(times[i][contender]);
        xx += logOf(sides[i]) * logOf(sides[i]);
        xy += logOf(sides[i]) * std::log(times[i][contender]);
    }
    const auto count = static_cast<double>(sides.size());
    return (count * xy - x * y) / (count * xx - x * x);
}

} // namespace

int main() {
    const std::vector<zt::u32> sides{256, 512, 1024, 2048, 4096};
    std::vector<std::vector<double>> times;
    std::printf("ns a pixel\n%8s %12s %16s %13s %8s\n", "side", "Flat-Field", "Beam-hardening", "Binning 2x2",
                "memory");
    for (const zt::u32 side : sides) {
        times.push_back(timesAt(side));
        const double perPixel = 1e9 / (static_cast<double>(side) * side);
        std::printf("%8u %12.2f %16.2f %13.2f %8.2f\n", side, times.back()[0] * perPixel,
                    times.back()[1] * perPixel, times.back()[2] * perPixel, times.back()[3] * perPixel);
    }
    std::printf("%8s %12.3f %16.3f %13.3f %8.3f\n", "exponent", exponentOf(sides, times, 0),
                exponentOf(sides, times, 1), exponentOf(sides, times, 2), exponentOf(sides, times, 3));
}
