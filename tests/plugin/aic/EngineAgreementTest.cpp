// The engine against the plain form: random configurations on random data with hostile pixels among them, by
// the inner loops of every processor that runs here.
#include "EngineFixture.h"

#include <tuple>

namespace {

using plain::Image;

// OMBREL_ENGINE_CASES asks for another number of configurations.
unsigned caseCount() {
    const char* const wanted = std::getenv("OMBREL_ENGINE_CASES");
    return wanted == nullptr ? 120 : static_cast<unsigned>(std::atoi(wanted));
}

class RandomCase {
public:
    explicit RandomCase(unsigned seed) : random(seed) {
        chooseSize();
        chooseQuality();
        choosePreProcessing();
        makeGrid();
    }

    Image frame() {
        Image image = randomImage(cols, rows, random, 0, oneOf({1.0f, 1e4f}));
        if (oneIn(3))
            spoil(image);
        if (oneIn(20))
            std::ranges::fill(image.pixels, 7.0f);
        return image;
    }

    plain::Settings settings;
    plain::Grid grid;
    int elementSize = 0;
    int borderSize = 0;
    int interpolation = 0;

private:
    bool oneIn(unsigned n) { return random() % n == 0; }
    template <typename T>
    T oneOf(std::initializer_list<T> values) {
        return values.begin()[random() % values.size()];
    }

    void chooseSize() {
        settings.search = static_cast<plain::Search>(random() % 3);
        // Tiles that fit and that don't, one and many groups of them, with a rest of columns and rows.
        settings.quality.tile = oneOf({1, 2, 3, 4, 5, 8, 16});
        cols = settings.quality.tile * static_cast<int>(1 + random() % 20) + static_cast<int>(random() % 3);
        rows = settings.quality.tile * static_cast<int>(1 + random() % 4) + static_cast<int>(random() % 3);
        if (oneIn(4)) {
            cols = 3 + static_cast<int>(random() % 40);
            rows = 3 + static_cast<int>(random() % 40);
        }
        cols = std::clamp(cols, 3, 150);
        rows = std::clamp(rows, 3, 60);
        if (settings.search == plain::Search::Mosaic)
            settings.quality.tile = std::min({settings.quality.tile, cols, rows});
        else if (oneIn(10))
            settings.quality.tile = oneOf({0, -4});
    }

    void chooseQuality() {
        plain::QualitySettings& quality = settings.quality;
        switch (random() % 8) {
        case 0:
            quality.kernel = {0, -1, 0, -1, 4, -1, 0, -1, 0};
            break;
        case 1:
            quality.kernel = {-1, -1, -1, -1, oneOf({8.0f, 9.5f}), -1, -1, -1, -1};
            break;
        case 2:
        case 3: { // any side, even ones with values up to the window's end; some taps 0
            const unsigned side = 1 + random() % 7;
            quality.kernel.resize(side * side + (side % 2 == 0 ? side + 1 : random() % 2));
            std::ranges::generate(quality.kernel, [&] { return oneIn(3) ? 0.0f : normal(); });
            break;
        }
        default:
            break;
        }
        quality.threshold = oneOf({80.0f, 80.0f, 50.0f, 0.0f, 100.0f});
        borderSize = oneOf({2, 2, 0, 1});
        elementSize = oneOf({cols, 8, 13});
        if (oneIn(3)) {
            quality.customMask = randomImage(cols, rows, random, 0, 2);
            for (float& factor : quality.customMask.pixels)
                factor = std::floor(factor);
        } else if (oneIn(6)) {
            quality.customMask = randomImage(cols, rows, random, -1, 3);
        }
        if (!quality.customMask.pixels.empty() && oneIn(3)) {
            // Beyond all numbers with a quotient; the border mask, if it has a 0 there, makes it NaN.
            quality.customMask.pixels[random() % quality.customMask.pixels.size()] = 3e38f;
        }
        if (borderSize > 0)
            quality.borderMask = plain::borderMask(cols, rows, elementSize, borderSize);
    }

    void choosePreProcessing() {
        plain::PreProcessSettings& preProcess = settings.preProcess;
        preProcess.enabled = !oneIn(3);
        preProcess.badPixelRatio = oneOf({3.0f, 1.2f, 0.0f});
        if (oneIn(3))
            preProcess.badPixels = randomImage(cols, rows, random, 0, 0.6f);
        if (oneIn(3))
            preProcess.compensateMask = randomImage(cols, rows, random);
        preProcess.lowQuantile = oneOf({0.05f, 0.0f, 0.5f});
        preProcess.highQuantile = oneOf({0.95f, 1.0f});
    }

    void makeGrid() {
        const bool isCube = settings.search == plain::Search::LookAround || oneIn(2);
        grid.vCount = isCube ? 3 : 1 + static_cast<int>(random() % 3);
        grid.tCount = isCube ? 3 : 1 + static_cast<int>(random() % 3);
        grid.eCount = isCube ? 3 : 1 + static_cast<int>(random() % 3);
        interpolation = oneIn(3) ? 1 : 0;
        const bool hasHoles = oneIn(3);
        const bool isSpoilt = oneIn(3);
        for (int i = 0; i < grid.vCount * grid.tCount * grid.eCount; ++i) {
            plain::GridPoint point;
            point.v = 1.26f * static_cast<float>(1 + i / (grid.tCount * grid.eCount));
            point.t = 2.0f * static_cast<float>(1 + i / grid.eCount % grid.tCount);
            point.e = 0.5f * static_cast<float>(1 + i % grid.eCount);
            if (i == 0 || !hasHoles || !oneIn(5)) {
                point.image = randomImage(cols, rows, random);
                if (isSpoilt && oneIn(4))
                    spoil(point.image);
            }
            grid.points.push_back(point);
        }
    }

    // Either with anything, which mostly ends in NaN, or so that quotients stay finite.
    void spoil(Image& image) {
        const bool withAnything = oneIn(4);
        for (float& pixel : image.pixels) {
            if (oneIn(30)) {
                pixel =
                    withAnything ? hostilePixel(random) : oneOf({0.0f, -0.0f, -1.0f, 1e-40f, 1e-30f, 1e30f});
            }
        }
    }

    float normal() { return std::normal_distribution<float>()(random); }

    std::mt19937 random;
    int cols = 0;
    int rows = 0;
};

plain::Grid gridInStore(const c_CalibrationImages& store, const plain::Grid& stored, int interpolation) {
    const auto extended = [&](int count) { return interpolation == 1 ? 2 * count - 1 : count; };
    plain::Grid grid = {extended(stored.vCount), extended(stored.tCount), extended(stored.eCount), {}};
    for (const ImageContainer& point : store.Images)
        grid.points.push_back({plainImage(point.Image), point.V, point.T, point.E});
    return grid;
}

void compareFrames(c_AIC& engine, plain::Engine& expected, const EngineFiles& files, RandomCase& data) {
    for (int i = 0; i < 2; ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const Image frame = data.frame();
        plain::Result wanted;
        bool throws = false;
        try {
            wanted = expected.compensate(frame);
        } catch (const std::out_of_range&) {
            throws = true;
        }
        ImageContainer result;
        float quality = 0;
        const auto compensate = [&] {
            return engine.CompensateImage(engineImage(frame), &result, &quality, files.prefix, false);
        };
        if (throws) {
            EXPECT_THROW(compensate(), std::out_of_range);
            EXPECT_FALSE(engine.QualityValuesStream.is_open());
            return; // the plain form has no state to go on from
        }
        EXPECT_EQ(compensate(), wanted.status);
        EXPECT_TRUE(sameBits(result.Image.pixels(), wanted.best.image.pixels));
        EXPECT_TRUE(sameBits(quality, wanted.quality)) << quality << " instead of " << wanted.quality;
        EXPECT_EQ(std::tuple(result.V, result.T, result.E),
                  std::tuple(wanted.best.v, wanted.best.t, wanted.best.e));
        EXPECT_EQ(files.logText(), expected.log);
        for (const auto& [name, text] : expected.files)
            EXPECT_EQ(files.text(name), text) << name;
    }
}

TEST(EngineAgreement, HasTheBitsAndTextsOfThePlainForm) {
    for (unsigned seed = 0; seed < caseCount(); ++seed) {
        for (const Kernels* kernels : allKernels()) {
            SCOPED_TRACE("case " + std::to_string(seed) + ", " + kernels->processor);
            RandomCase data(seed);
            data.settings.qualityLog = seed % 2 == 0 ? "values.txt" : "";
            data.settings.dump = seed % 8 == 0;
            EngineFiles files;
            files.writeHeap(data.grid, data.elementSize, data.settings.preProcess.compensateMask);
            c_AIC::AICCfg cfg = files.configuration(data.settings, data.borderSize);
            cfg.Interpolation = data.interpolation;
            c_AIC engine(*kernels);
            ASSERT_EQ(engine.Init(cfg, true), 0);
            plain::Engine expected(data.settings,
                                   gridInStore(*engine.CalibrationImages, data.grid, data.interpolation));
            compareFrames(engine, expected, files, data);
            if (HasFailure())
                return;
        }
    }
}

} // namespace
