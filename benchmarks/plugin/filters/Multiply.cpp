// The multiplication of a double frame in place, against OpenCV's into another array and against the loop
// that reads two arrays and writes a third.
#include "Interleaved.h"
#include "kernels/FlatField.h"
#include "kernels/ProcessorDispatch.h"

#include <opencv2/core.hpp>

#include <random>

namespace {

std::vector<double> randomValues(std::size_t count, double low, double high) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> value(low, high);
    std::vector<double> values(count);
    std::ranges::generate(values, [&] { return value(random); });
    return values;
}

void multiplyInto(const double* __restrict a, const double* __restrict b, double* __restrict out,
                  std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = a[i] * b[i];
}

void compareAt(int side, const char* set) {
    const std::size_t count = static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
    // Factors around 1 keep the frame in range however often it is multiplied.
    const std::vector<double> factors = randomValues(count, 0.99, 1.01);
    const std::span<const double> columns(factors.data(), static_cast<std::size_t>(side));
    const std::vector<double> source = randomValues(count, 0, 5000);
    std::vector<double> frame = source;
    std::vector<double> columnFrame = source;
    std::vector<double> out(count);
    const cv::Mat a(side, side, CV_64F, const_cast<double*>(source.data()));
    const cv::Mat b(side, side, CV_64F, const_cast<double*>(factors.data()));
    cv::Mat product(side, side, CV_64F);

    const std::vector<double> seconds = interleavedMedians({
        {"in place", [&] { PluginOmbrel::multiplyPixels(frame, factors); }},
        {"TDI", [&] { PluginOmbrel::multiplyColumns(columnFrame, columns); }},
        {"OpenCV", [&] { cv::multiply(a, b, product); }},
        {"limit",
         [&] {
             multiplyInto(source.data(), factors.data(), out.data(), count);
             keep(out.data());
         }},
    });
    const double perPixel = 1e9 / static_cast<double>(count);
    std::printf("%5d %-8s %9.3f %9.3f %9.3f %9.3f %9.2f %9.2f %9.2f\n", side, set, seconds[0] * perPixel,
                seconds[1] * perPixel, seconds[2] * perPixel, seconds[3] * perPixel, seconds[2] / seconds[0],
                seconds[0] / seconds[3], seconds[2] / seconds[1]);
}

} // namespace

int main() {
    cv::setNumThreads(1);
    std::printf("ns a pixel; bars: OpenCV/ours >= 1.2, ours/limit <= 0.95\n");
    std::printf("%5s %-8s %9s %9s %9s %9s %9s %9s %9s\n", "side", "", "ours", "TDI", "OpenCV", "limit",
                "CV/ours", "ours/lim", "CV/TDI");
    for (const int side : {256, 512, 1024, 2048, 4096})
        PluginOmbrel::forEachSet([&](const char* set) { compareAt(side, set); });
}
