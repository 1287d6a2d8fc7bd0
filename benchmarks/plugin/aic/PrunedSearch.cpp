// The search without tiles, which leaves out most scores, on a refined grid: against (a) the search with
// tiles, which computes the scores of all flat fields, (b) OpenCV on all of them, and (c) the limit of such a
// search, a loop that reads all flat fields once. Time of a frame of 256 x 256, one thread.
#include "Interleaved.h"
#include "OpenCvCorrection.h"
#include "aic/AIC.h"
#include "calibration/CalibrationHeap.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <random>

namespace {

constexpr int side = 256;
constexpr std::size_t pixelCount = std::size_t{side} * side;

// A sensor whose pixels respond to V, T and E as smooth functions; from end to end of an axis the response
// changes by some times the photon noise of a frame.
class Sensor {
public:
    Sensor() {
        for (auto& pattern : patterns) {
            pattern.resize(pixelCount);
            std::ranges::generate(pattern, [&] { return normal(random); });
        }
    }

    // At parts of the axes from 0 to 1.
    std::vector<float> flat(float v, float t, float e) const {
        std::vector<float> pixels(pixelCount);
        for (std::size_t i = 0; i < pixelCount; ++i)
            pixels[i] =
                std::exp(0.16f * patterns[3][i] + 0.05f * (v - 0.5f) * patterns[0][i] +
                         0.045f * (t * t - 0.5f) * patterns[1][i] + 0.045f * (e - 0.5f) * patterns[2][i]);
        return pixels;
    }

    // Taken somewhere within the grid, with a sample on a half of it.
    AICImage frame() {
        std::uniform_real_distribution<float> place(0, 1);
        const float v = place(random), t = place(random);
        const auto pixels = flat(v, t, place(random));
        AICImage image(side, side);
        for (std::size_t i = 0; i < pixelCount; ++i) {
            const float sample = i % 64 < 32 ? 1 : 0.6f + 0.4f * std::sin(static_cast<float>(i / side) / 9);
            const float counts = 19000 * pixels[i] * sample;
            image.pixels()[i] = counts + std::sqrt(std::fabs(counts)) * normal(random);
        }
        return image;
    }

private:
    std::mt19937 random{1};
    std::normal_distribution<float> normal;
    std::array<std::vector<float>, 4> patterns;
};

class HeapFile {
public:
    HeapFile(const Sensor& sensor, int perAxis) {
        std::vector<ombrel::GridPoint> points;
        const auto each = [&](auto use) {
            for (int i = 0; i < perAxis * perAxis * perAxis; ++i)
                use(static_cast<float>(i / (perAxis * perAxis)), static_cast<float>(i / perAxis % perAxis),
                    static_cast<float>(i % perAxis));
        };
        each([&](float v, float t, float e) { points.push_back({v, t, e}); });
        ombrel::CalibrationHeap heap(
            path, ombrel::CalibrationGrid(points, {}),
            {.elementSize = side, .width = side, .height = side, .compensationMask = {}});
        const auto last = static_cast<float>(perAxis - 1);
        each([&](float v, float t, float e) { heap.append(sensor.flat(v / last, t / last, e / last)); });
        heap.commit();
    }
    ~HeapFile() { std::filesystem::remove(path); }

    const std::string path = std::filesystem::temp_directory_path() / "ombrel-bench-pruned.bin";
};

class Engine {
public:
    Engine(const HeapFile& heap, const std::deque<AICImage>& examples, const Kernels& kernels, int tile)
        : engine(kernels), frames(examples) {
        c_AIC::AICCfg cfg;
        cfg.DataFile = heap.path;
        cfg.PPEnabled = false;
        cfg.Kernel = {0, -1, 0, -1, 4, -1, 0, -1, 0};
        cfg.QfBorderMaskSize = 0;
        cfg.QfTileSize = tile;
        cfg.QfTileThreshold = 100;
        if (engine.Init(cfg, true) != 0)
            std::abort();
    }

    // Each time another frame.
    void compensate() {
        if (engine.CompensateImage(frames[next++ % frames.size()], &result, &quality, "", false) != 0)
            std::abort();
        keep(result.Image.pixels().data());
    }

    void readAll() const {
        for (const ImageContainer& point : engine.CalibrationImages->Images) {
            std::array<float, 64> sums = {};
            const auto pixels = point.Image.pixels();
            for (std::size_t i = 0; i + sums.size() <= pixels.size(); i += sums.size())
                for (std::size_t lane = 0; lane < sums.size(); ++lane)
                    sums[lane] += pixels[i + lane];
            keep(sums.data());
        }
    }

    std::vector<cv::Mat> images() const {
        std::vector<cv::Mat> matrices;
        for (const ImageContainer& point : engine.CalibrationImages->Images)
            matrices.emplace_back(side, side, CV_32F, const_cast<float*>(point.Image.pixels().data()));
        return matrices;
    }

private:
    c_AIC engine;
    const std::deque<AICImage>& frames;
    std::size_t next = 0;
    ImageContainer result;
    float quality = 0;
};

void compare(int perAxis) {
    constexpr int tile = 16;
    Sensor sensor;
    const HeapFile heap(sensor, perAxis);
    std::deque<AICImage> frames;
    for (int i = 0; i < 8; ++i)
        frames.push_back(sensor.frame());

    std::deque<Engine> engines;
    std::vector<Contender> contenders;
    const auto add = [&](const std::string& name, const Kernels& kernels, int tileSize) {
        Engine& engine = engines.emplace_back(heap, frames, kernels, tileSize);
        contenders.push_back({name, [&engine] { engine.compensate(); }});
    };
    for (const Kernels* kernels : runnableKernels())
        add(kernels->processor, *kernels, 0);
    add("(a) all, with tiles", bestKernels(), tile);
    const Engine& any = engines.front();
    const std::vector<cv::Mat> images = any.images();
    const cv::Mat ones = cv::Mat::ones(side, side, CV_32F);
    OpenCvCorrection openCv(ones, tile);
    const cv::Mat frame(side, side, CV_32F, frames.front().pixels().data());
    contenders.push_back({"(b) OpenCV",
                          [&] {
                              for (const cv::Mat& image : images) {
                                  const float value = openCv.score(frame, image);
                                  keep(&value);
                              }
                          }});
    contenders.push_back({"(c) read all", [&] { any.readAll(); }});

    const std::vector<double> seconds = interleavedMedians(contenders, 16);
    std::printf("\n%d flat fields\n", perAxis * perAxis * perAxis);
    for (std::size_t i = 0; i < seconds.size(); ++i)
        std::printf("%-22s %9.2f ms  %6.2f of the first\n", contenders[i].name.c_str(), 1000 * seconds[i],
                    seconds[i] / seconds[0]);
}

} // namespace

int main() {
    cv::setNumThreads(1);
    compare(6);
    compare(12);
    compare(16);
}
