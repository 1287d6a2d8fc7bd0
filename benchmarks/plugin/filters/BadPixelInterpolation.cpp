// The interpolation of isolated bad pixels, against the closest that OpenCV offers: the same weights by
// filter2D over the whole frame, and the result copied at the bad pixels.
#include "kernels/BadPixelInterpolation.h"

#include "Interleaved.h"
#include "kernels/KeptFills.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <functional>
#include <random>

namespace {

constexpr int side = 5;

cv::Mat normalisedKernel() {
    cv::Mat kernel(side, side, CV_64F);
    for (int row = 0; row < side; ++row)
        for (int column = 0; column < side; ++column)
            kernel.at<double>(row, column) = PluginOmbrel::inverseDistances[static_cast<std::size_t>(row)]
                                                                           [static_cast<std::size_t>(column)];
    return kernel / cv::sum(kernel)[0];
}

// Bad pixels at random positions, or at positions of which no two are neighbours.
std::vector<unsigned char> randomMask(int frameSide, double badPart, bool isolated) {
    const auto width = static_cast<std::size_t>(frameSide);
    std::vector<unsigned char> mask(width * width);
    std::mt19937_64 random(5);
    const auto hasNear = [&](std::size_t x, std::size_t y) {
        for (std::size_t row = y < 2 ? 0 : y - 2; row <= std::min(y + 2, width - 1); ++row)
            for (std::size_t column = x < 2 ? 0 : x - 2; column <= std::min(x + 2, width - 1); ++column)
                if (mask[row * width + column])
                    return true;
        return false;
    };
    auto wanted = static_cast<std::size_t>(badPart * static_cast<double>(mask.size()));
    while (wanted > 0) {
        const std::size_t place = random() % mask.size();
        if (mask[place] || (isolated && hasNear(place % width, place / width)))
            continue;
        mask[place] = 1;
        --wanted;
    }
    return mask;
}

void compareAt(int frameSide, double badPart, bool isolated) {
    const auto count = static_cast<std::size_t>(frameSide) * static_cast<std::size_t>(frameSide);
    std::mt19937_64 random(7);
    std::vector<double> frame(count);
    std::ranges::generate(frame, [&] { return std::normal_distribution<double>(1000, 30)(random); });
    std::vector<unsigned char> mask = randomMask(frameSide, badPart, isolated);
    std::vector<double> peerFrame = frame;
    cv::Mat image(frameSide, frameSide, CV_64F, peerFrame.data());
    const cv::Mat bad(frameSide, frameSide, CV_8U, mask.data());
    const cv::Mat kernel = normalisedKernel();
    cv::Mat smooth(frameSide, frameSide, CV_64F);

    const auto width = static_cast<unsigned long>(frameSide);
    std::vector<unsigned char> ownMask = mask;
    std::vector<double> keptFrame = frame;
    PluginOmbrel::PixelBits marks;
    marks.assignNonZero(mask);
    PluginOmbrel::KeptFills fills;
    fills.fill(keptFrame.data(), marks, {width, width});
    const std::vector<double> seconds = interleavedMedians({
        {"kept",
         [&] {
             fills.repeat(keptFrame.data(), marks, {width, width});
         }},
        {"new mask",
         [&] { PluginOmbrel::tInterpolateBadPixels(frame.data(), ownMask.data(), width, width); }},
        {"OpenCV",
         [&] {
             cv::filter2D(image, smooth, CV_64F, kernel);
             smooth.copyTo(image, bad);
         }},
    });
    const double perPixel = 1e9 / static_cast<double>(count);
    std::printf("%5d %7.1f %-9s %9.3f %9.3f %9.3f %9.1f %9.1f\n", frameSide, badPart * 100,
                isolated ? "isolated" : "random", seconds[0] * perPixel, seconds[1] * perPixel,
                seconds[2] * perPixel, seconds[2] / seconds[0], seconds[2] / seconds[1]);
}

// A frame of which a wide area is bad, and the time to fill it from its edges inwards.
class WideArea {
public:
    WideArea(std::size_t frameSide, const std::function<bool(double x, double y)>& isBad)
        : width(frameSide), frame(width * width), mask(width * width) {
        std::mt19937_64 random(7);
        for (std::size_t i = 0; i < frame.size(); ++i) {
            frame[i] = 1000 + static_cast<double>(random() % 100);
            const auto part = [&](std::size_t at) {
                return static_cast<double>(at) / static_cast<double>(width);
            };
            mask[i] = isBad(part(i % width), part(i / width));
        }
    }

    void fill() { PluginOmbrel::tInterpolateBadPixels(frame.data(), mask.data(), width, width, front); }

private:
    std::size_t width;
    std::vector<double> frame;
    std::vector<unsigned char> mask;
    PluginOmbrel::FillFront front;
};

void compareWideAreas(const char* name, const std::function<bool(double x, double y)>& isBad) {
    WideArea small(2048, isBad);
    WideArea large(4096, isBad);
    const std::vector<double> seconds =
        interleavedMedians({{"2048", [&] { small.fill(); }}, {"4096", [&] { large.fill(); }}}, 5);
    std::printf("%-12s %9.0f %9.0f %9.2f\n", name, seconds[0] * 1e3, seconds[1] * 1e3,
                seconds[1] / seconds[0]);
}

} // namespace

int main() {
    cv::setNumThreads(1);
    std::printf("ns a pixel of the frame, the fills of the last frame or a new mask; bars: OpenCV/kept >= 4 "
                "at 5 %%,\n"
                ">= 8 at 1 %%\n");
    std::printf("%5s %7s %-9s %9s %9s %9s %9s %9s\n", "side", "bad %", "", "kept", "new mask", "OpenCV",
                "CV/kept", "CV/new");
    for (const int frameSide : {256, 1024, 2048, 4096}) {
        compareAt(frameSide, 0.001, true);
        compareAt(frameSide, 0.01, true);
        compareAt(frameSide, 0.01, false);
        compareAt(frameSide, 0.05, false);
    }

    std::printf("\nwide bad areas, ms a frame; bars: 2048 below 600, 4096 / 2048 below 4.5\n");
    std::printf("%-12s %9s %9s %9s\n", "area", "2048", "4096", "ratio");
    compareWideAreas(
        "left 45 %", [](double x, double) { return x < 0.45; });
    compareWideAreas(
        "top 45 %", [](double, double y) { return y < 0.45; });
    compareWideAreas(
        "quarter", [](double x, double y) { return x < 0.5 && y < 0.5; });
    compareWideAreas(
        "middle 44 %",
        [](double x, double y) { return std::max(std::abs(x - 0.5), std::abs(y - 0.5)) < 1.0 / 3; });
    compareWideAreas("corner 40 %", [](double x, double y) { return x + y < 0.9; });
}
