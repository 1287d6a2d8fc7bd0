// The whole of the flat-field filter on a frame of u16 and of double, and what its parts take.
#include "kernels/FlatField.h"

#include "Interleaved.h"
#include "filters/FFFilter.h"
#include "host/Host.h"
#include "kernels/BadPixelInterpolation.h"
#include "kernels/BadPixelMask.h"

#include <random>

namespace {

using ombrel::Frame;
using ombrel::FramePtr;

struct DestroyFilter {
    void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
};

// Poisson counts with one pixel in a hundred dead.
template <typename T>
FramePtr countsFrame(zt::u32 side, zt::u8 type) {
    FramePtr frame = Frame::create(side, side, type);
    std::mt19937 random(9);
    std::poisson_distribution<int> counts(1000);
    for (T& pixel : frame->pixels<T>())
        pixel = random() % 100 == 0 ? T{0} : static_cast<T>(counts(random));
    return frame;
}

template <typename T>
void report(zt::u32 side, zt::u8 type, const char* typeName) {
    ombrel::Host host([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    ombrel::Device& device = host.addDevice(1, side, side);
    const std::unique_ptr<PluginOmbrel::FFFilter, DestroyFilter> filter(
        new PluginOmbrel::FFFilter(&host, &device));
    const FramePtr frame = countsFrame<T>(side, type);
    host.frames().defineFrame("flat", countsFrame<double>(side, zt::DT_DOUBLE));
    filter->loadCoefficientsFromFile("flat", false);
    // Of u16 frames no pixel is marked for being zero, so the coefficients have to find it.
    filter->setUseFFCoeffsForBadPixels(true);

    const FramePtr corrected(static_cast<Frame*>(filter->filter(frame.get())));
    std::vector<double> factors(frame->size(), 1.0);
    std::vector<unsigned char> mask(frame->size());
    std::ranges::transform(
        countsFrame<double>(side, zt::DT_DOUBLE)->template pixels<double>(), mask.begin(),
        [](double value) { return value == 0; });
    const std::vector<double> seconds = interleavedMedians({
        {"filter", [&] { FramePtr(static_cast<Frame*>(filter->filter(frame.get()))); }},
        {"clone", [&] { FramePtr(static_cast<Frame*>(frame->clone())); }},
        {"clone and convert",
         [&] {
             const FramePtr copy(static_cast<Frame*>(frame->clone()));
             copy->convertToType(zt::DT_DOUBLE);
         }},
        {"multiply", [&] { PluginOmbrel::multiplyPixels(corrected->pixels<double>(), factors); }},
        {"mask of coefficients", [&] { filter->generateBadPixelMaskFromFFCoeffs(); }},
        {"mask of zeros", [&] { filter->generateBadPixelMaskFromZeroPixels(corrected.get()); }},
        {"interpolation",
         [&] {
             PluginOmbrel::tInterpolateBadPixels(corrected->pixels<double>().data(), mask.data(), side, side);
         }},
    });
    const double perPixel = 1e9 / static_cast<double>(frame->size());
    std::printf("%5u %-4s %8.2f %8.2f %8.2f %8.2f %8.2f %8.2f %8.2f\n", side, typeName, seconds[0] * perPixel,
                seconds[1] * perPixel, (seconds[2] - seconds[1]) * perPixel, seconds[3] * perPixel,
                seconds[4] * perPixel, seconds[5] * perPixel, seconds[6] * perPixel);
}

} // namespace

int main() {
    std::printf("ns a pixel\n%5s %-4s %8s %8s %8s %8s %8s %8s %8s\n", "side", "type", "filter", "clone",
                "convert", "multiply", "FF mask", "0 mask", "interp.");
    for (const zt::u32 side : {256u, 1024u, 4096u}) {
        report<zt::u16>(side, zt::DT_U16, "u16");
        report<double>(side, zt::DT_DOUBLE, "f64");
    }
}
