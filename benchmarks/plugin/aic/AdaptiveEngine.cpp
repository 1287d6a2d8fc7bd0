// The adaptive engine against three others, all on one thread: (a) its plain form from the tests, compiled
// with the same flags, (b) OpenCV, (c) the limit, a loop that reads frame and image, divides and sums
// magnitudes, once for each candidate. A candidate is measured as a search without pre-processing, divided by
// its candidates.
#include "Interleaved.h"
#include "OpenCvCorrection.h"
#include "aic/AIC.h"
#include "plugin/aic/PlainEngine.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <random>

namespace {

constexpr int tile = 16;
constexpr int borderSize = 2;

// The limit. Several independent sums, so that the compiler can vectorise them to any width.
__attribute__((target_clones("avx512f", "avx2", "default"))) float
sumOfQuotients(const float* frame, const float* image, std::size_t count) {
    std::array<float, 64> sums = {};
    for (std::size_t i = 0; i + sums.size() <= count; i += sums.size())
        for (std::size_t lane = 0; lane < sums.size(); ++lane)
            sums[lane] += std::fabs(frame[i + lane] / image[i + lane]);
    float sum = 0;
    for (const float lane : sums)
        sum += lane;
    return sum;
}

// A grid of n x n x n images whose pattern changes from one to the next, and a frame taken with one
// of the patterns: a beam, noise, and one pixel in a thousand dead.
class DataSet {
public:
    DataSet(int imageSide, int perAxis) : side(imageSide), frame(imageSide, imageSide) {
        plainGrid.vCount = plainGrid.tCount = plainGrid.eCount = perAxis;
        for (int i = 0; i < perAxis * perAxis * perAxis; ++i) {
            plain::Image image(side, side);
            for (float& pixel : image.pixels)
                pixel = 1000 + 50 * normal(random);
            plainGrid.points.push_back({std::move(image), value(i / (perAxis * perAxis)),
                                        value(i / perAxis % perAxis), value(i % perAxis)});
        }
        const plain::Image& flat = plainGrid.points[plainGrid.points.size() / 2].image;
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                const float beam =
                    1 + 0.5f * std::sin(0.02f * static_cast<float>(x)) * (1 + 0.01f * normal(random));
                frame.at(x, y) = random() % 1000 == 0 ? 0 : beam * flat.at(x, y);
            }
        }
        writeHeap();
    }
    ~DataSet() { std::filesystem::remove(heapPath); }

    std::size_t candidates() const { return plainGrid.points.size(); }

    const int side;
    plain::Grid plainGrid;
    plain::Image frame;
    std::string heapPath = std::filesystem::temp_directory_path() / "ombrel-bench-engine.bin";

private:
    static float value(int index) { return static_cast<float>(index + 1); }

    template <typename T>
    static void put(std::ofstream& file, T number) {
        file.write(reinterpret_cast<const char*>(&number), sizeof number);
    }

    void writeHeap() const {
        std::ofstream file(heapPath, std::ios::binary);
        put(file, side);
        put(file, 0);
        for (int axis = 0; axis < 3; ++axis) {
            put(file, std::uint64_t(plainGrid.vCount));
            for (int i = 0; i < plainGrid.vCount; ++i)
                put(file, value(i));
        }
        for (const plain::GridPoint& point : plainGrid.points) {
            put(file, side);
            put(file, side);
            file.write(reinterpret_cast<const char*>(point.image.pixels.data()),
                       static_cast<std::streamsize>(point.image.pixels.size() * sizeof(float)));
        }
    }

    std::mt19937 random{1};
    std::normal_distribution<float> normal;
};

// An engine with the data set loaded, and frames for it that cost no copy.
class Engine {
public:
    Engine(const DataSet& data, const Kernels& kernels, int search, bool preProcesses)
        : engine(kernels), frame(data.side, data.side) {
        c_AIC::AICCfg cfg;
        cfg.DataFile = data.heapPath;
        cfg.Search = search;
        cfg.PPEnabled = preProcesses;
        cfg.QfTileSize = tile;
        cfg.QfBorderMaskSize = borderSize;
        if (engine.Init(cfg, true) != 0)
            std::abort();
        std::ranges::copy(data.frame.pixels, frame.pixels().begin());
    }

    void compensate() {
        if (engine.CompensateImage(frame, &result, &quality, "", false) != 0)
            std::abort();
        keep(result.Image.pixels().data());
    }
    void search() {
        c_AIC::Position best;
        if (engine.FindOptimalCompensationLinearSearch(frame, &result, 1, &quality, best, "") != 0)
            std::abort();
        keep(result.Image.pixels().data());
    }
    void limit() const {
        for (const ImageContainer& point : engine.CalibrationImages->Images) {
            const float sum =
                sumOfQuotients(frame.pixels().data(), point.Image.pixels().data(), frame.pixels().size());
            keep(&sum);
        }
    }

    // A view of the pixels.
    static cv::Mat matrix(const AICImage& image) {
        return cv::Mat(image.rows(), image.cols(), CV_32F, const_cast<float*>(image.pixels().data()));
    }
    std::vector<cv::Mat> images() const {
        std::vector<cv::Mat> matrices;
        for (const ImageContainer& point : engine.CalibrationImages->Images)
            matrices.push_back(matrix(point.Image));
        return matrices;
    }
    cv::Mat frameMatrix() const { return matrix(frame); }
    cv::Mat borderMask() const { return matrix(engine.BorderMask); }

private:
    c_AIC engine;
    AICImage frame;
    ImageContainer result;
    float quality = 0;
};

plain::Settings plainSettings(const DataSet& data, plain::Search search) {
    plain::Settings settings;
    settings.search = search;
    settings.quality.tile = tile;
    settings.quality.borderMask = plain::borderMask(data.side, data.side, data.side, borderSize);
    return settings;
}

void printHead(const char* what) {
    std::printf("\n%-34s %10s %22s %22s %22s\n", what, "ours", "(a) plain", "(b) OpenCV", "(c) limit");
}

// Ours, plain, OpenCV, limit, in seconds for `count` candidates.
void printLine(const std::string& what, const std::array<double, 4>& seconds, double count) {
    std::printf("%-34s %7.1f us %10.1f us %6.1f x %10.1f us %6.2f x %10.1f us %6.2f\n", what.c_str(),
                seconds[0] * 1e6 / count, seconds[1] * 1e6 / count, seconds[1] / seconds[0],
                seconds[2] * 1e6 / count, seconds[2] / seconds[0], seconds[3] * 1e6 / count,
                seconds[0] / seconds[3]);
}

void compareCandidates(int side, int perAxis) {
    const DataSet data(side, perAxis);
    std::deque<Engine> engines;
    std::vector<Contender> contenders;
    for (const Kernels* kernels : runnableKernels()) {
        Engine& engine = engines.emplace_back(data, *kernels, 0, false);
        contenders.push_back({kernels->processor, [&engine] { engine.search(); }});
    }
    const plain::QualitySettings quality = plainSettings(data, plain::Search::Linear).quality;
    std::size_t next = 0;
    contenders.push_back({"plain", [&] {
                              const plain::Image& image =
                                  data.plainGrid.points[next++ % data.candidates()].image;
                              const auto value = plain::quality(plain::quotient(data.frame, image), quality);
                              keep(&value);
                          }});
    OpenCvCorrection openCv(engines[0].borderMask(), tile);
    const std::vector<cv::Mat> images = engines[0].images();
    const cv::Mat frame = engines[0].frameMatrix();
    contenders.push_back({"OpenCV",
                          [&] {
                              for (const cv::Mat& image : images) {
                                  const float value = openCv.score(frame, image);
                                  keep(&value);
                              }
                          }});
    contenders.push_back({"limit", [&] { engines[0].limit(); }});

    const std::vector<double> seconds = interleavedMedians(contenders);
    const auto count = static_cast<double>(data.candidates());
    const std::size_t others = engines.size();
    for (std::size_t i = 0; i < others; ++i) {
        printLine("a candidate, " + std::to_string(side) + ", " + contenders[i].name,
                  {seconds[i], seconds[others] * count, seconds[others + 1], seconds[others + 2]}, count);
    }
}

void compareFrames(const char* what, plain::Search search, int perAxis) {
    const DataSet data(256, perAxis);
    Engine engine(data, bestKernels(), static_cast<int>(search), true);
    plain::Engine plainEngine(plainSettings(data, search), data.plainGrid);
    OpenCvCorrection openCv(engine.borderMask(), tile);
    const std::vector<cv::Mat> images = engine.images();
    const cv::Mat frame = engine.frameMatrix();
    const std::vector<double> seconds = interleavedMedians({
        {"ours", [&] { engine.compensate(); }},
        {"plain", [&] { plainEngine.compensate(data.frame); }},
        {"OpenCV",
         [&] {
             const cv::Mat& image = openCv.preProcess(frame);
             search == plain::Search::Mosaic ? openCv.mosaic(image, images) : openCv.linear(image, images);
         }},
        {"limit", [&] { engine.limit(); }},
    });
    printLine(std::string(what) + ", 256, " + std::to_string(data.candidates()),
              {seconds[0], seconds[1], seconds[2], seconds[3]}, 1);
}

} // namespace

int main() {
    cv::setNumThreads(1);
    printHead("time of a candidate");
    compareCandidates(256, 3);
    compareCandidates(512, 3);
    compareCandidates(1024, 2);
    compareCandidates(2048, 2);
    printHead("time of a frame");
    compareFrames("linear", plain::Search::Linear, 3);
    compareFrames("linear", plain::Search::Linear, 5);
    compareFrames("mosaic", plain::Search::Mosaic, 3);
    compareFrames("mosaic", plain::Search::Mosaic, 5);
}
