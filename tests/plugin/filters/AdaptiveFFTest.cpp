#include "filters/AdaptiveFF.h"

#include "calibration/CalibrationHeap.h"
#include "fixtures/FilterTests.h"

#include <iostream>
#include <numeric>

namespace {

constexpr const char* notLoaded = "No adaptive correction loaded";
constexpr const char* notStarted = "Cannot initialize adaptive FF filter";
constexpr const char* notCorrected = "Cannot filter data - compensation error";
constexpr const char* zeroSum = "0,-1,0,-1,4,-1,0,-1,0";

// A store of settings with a calibration of two flat fields beside it, V = 1 and V = 2, and a fresh filter.
class AdaptiveFFTest : public FilterTests<16, 16> {
protected:
    AdaptiveFFTest() { std::cout.rdbuf(nullptr); } // where the engine has a line for each frame

    static constexpr zt::u32 side = 16;

    // Uneven by a tenth, in another pattern for each.
    static std::vector<float> flatField(int pattern) {
        std::vector<float> pixels(side * side);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = 1 + 0.1f * static_cast<float>((i * i + 7 * i) % (pattern == 1 ? 11u : 13u)) / 13;
        return pixels;
    }

    void writeCalibration() {
        const ombrel::CalibrationGrid grid(std::vector<ombrel::GridPoint>{{1, 5, 9}, {2, 5, 9}}, {});
        ombrel::CalibrationHeap heap(
            folder / "set.bin", grid,
            {.elementSize = int{side}, .width = side, .height = side, .compensationMask = {}});
        heap.append(flatField(1));
        heap.append(flatField(2));
        heap.commit();
    }

    static ombrel::FramePtr frameOf(const std::vector<float>& pixels, float level) {
        std::vector<zt::u32> counts;
        for (const float pixel : pixels)
            counts.push_back(static_cast<zt::u32>(std::lround(pixel * level)));
        return FilterTests::frameOf(zt::DT_U32, counts);
    }

    // A store that lets the flat field fit at once: plain division, chosen by a kernel that sums to zero.
    void setForDivision() {
        store.setBool("Settings", "PPEnabled", false);
        store.setString("Settings", "Kernel", zeroSum);
        store.setInt("Settings", "QfBorderMaskSize", 0);
        store.setInt("Settings", "QfTileSize", 4);
        store.setInt("Settings", "QfTileThreshold", 100);
    }

    zt::IParam& param(const char* name) { return *filter->parameters()->param(name); }

    ombrel::Settings store{folder / "set.xml", [this](const std::string& line) { log.push_back(line); }};
    std::unique_ptr<PluginOmbrel::AdaptiveFF, Destroy> filter{new PluginOmbrel::AdaptiveFF(&host, &device)};
};

TEST_F(AdaptiveFFTest, RefusesFramesUntilACalibrationIsLoaded) {
    const auto frame = frameOf(flatField(1), 100);
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    EXPECT_EQ(filter->filter(frame.get()), nullptr);
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre("Cannot open data file", notLoaded, notLoaded));
    EXPECT_EQ(frame->frameDataType(), zt::DT_U32);
    EXPECT_EQ(filter->parameters()->paramCount(), 0u);
}

TEST_F(AdaptiveFFTest, DividesByTheFlatFieldThatFits) {
    writeCalibration();
    setForDivision();
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    for (const int pattern : {1, 2}) {
        const auto frame = frameOf(flatField(pattern), 1e5f);
        const ombrel::FramePtr result(static_cast<ombrel::Frame*>(filter->filter(frame.get())));
        ASSERT_TRUE(result);
        // Divided by the mean, by the flat field, and multiplied by the mean, each step a float.
        double sum = 0;
        for (const zt::u32 pixel : frame->pixels<zt::u32>())
            sum += pixel;
        const float mean = static_cast<float>(sum) / (side * side);
        const std::vector<float> flat = flatField(pattern);
        for (std::size_t i = 0; i < flat.size(); ++i) {
            const float scaled = static_cast<float>(frame->pixels<zt::u32>()[i]) * (1.0f / mean);
            ASSERT_EQ(result->pixels<double>()[i], scaled / flat[i] * mean) << i;
        }
        EXPECT_EQ(frame->frameDataType(), zt::DT_U32);

        const auto replaced = frameOf(flatField(pattern), 1e5f);
        EXPECT_EQ(filter->filterReplace(replaced.get()), 0);
        EXPECT_TRUE(std::ranges::equal(replaced->pixels<double>(), result->pixels<double>()));
    }
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(AdaptiveFFTest, AfterAFailedStartIsLoadedAndFailsOnFrames) {
    writeFileText(folder / "set.bin", "no calibration");
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    EXPECT_THAT(takeLog(), ElementsAre(notStarted));
    EXPECT_EQ(filter->parameters()->paramCount(), 16u);

    const std::size_t before = ombrel::Frame::aliveCount();
    const auto frame = frameOf(flatField(1), 100);
    EXPECT_EQ(filter->filter(frame.get()), nullptr);
    EXPECT_EQ(frame->frameDataType(), zt::DT_U32);
    EXPECT_EQ(ombrel::Frame::aliveCount(), before + 1);
    const auto untouched = frame->pixels<zt::u32>()[5];
    EXPECT_EQ(filter->filterReplace(frame.get()), -1018);
    EXPECT_EQ(frame->pixels<double>()[5], untouched);
    EXPECT_THAT(takeLog(), ElementsAre(notCorrected, notCorrected));

    writeCalibration(); // repaired, and read again
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    std::filesystem::resize_file(folder / "set.bin", 20); // what worked is gone with the next start
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    EXPECT_EQ(filter->filterReplace(frame.get()), -1018);
    EXPECT_THAT(takeLog(), ElementsAre(notStarted, notCorrected));
}

TEST_F(AdaptiveFFTest, FramesOfAnotherSizeFailAndThoseOfOneValueThrow) {
    writeCalibration();
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    const auto small = ombrel::Frame::create(side, side - 1, zt::DT_DOUBLE);
    std::iota(small->pixels<double>().begin(), small->pixels<double>().end(), 1);
    EXPECT_EQ(filter->filter(small.get()), nullptr);
    EXPECT_THAT(takeLog(), ElementsAre(notCorrected));

    const auto even = frameOf(std::vector<float>(side * side, 1), 7);
    const std::size_t before = ombrel::Frame::aliveCount();
    EXPECT_THROW(filter->filter(even.get()), std::out_of_range);
    EXPECT_EQ(ombrel::Frame::aliveCount(), before);
}

TEST_F(AdaptiveFFTest, SaysWhyNoFlatFieldWon) {
    writeCalibration();
    store.setBool("Settings", "PPEnabled", false);
    store.setInt("Settings", "QfTileSize", 0);
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    const auto black = frameOf(std::vector<float>(side * side, 0), 7);
    EXPECT_EQ(filter->filter(black.get()), nullptr);
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("frame is black"), notCorrected));
}

TEST_F(AdaptiveFFTest, AppendsToWhatAnImageHolds) {
    AICImage image;
    const double values[] = {0.1, 2, 3, 4, 5, 6};
    filter->setAicImageData(values, 3, 1, &image);
    filter->setAicImageData(values, 3, 2, &image);
    const auto pixels = std::as_const(image).pixels();
    EXPECT_THAT(std::vector(pixels.begin(), pixels.end()), ElementsAre(0.1f, 2, 3, 0.1f, 2, 3, 4, 5, 6));
    EXPECT_EQ(image.rows(), 2);
    EXPECT_EQ(image.cols(), 4); // nine pixels do not fill two rows
}

TEST_F(AdaptiveFFTest, StoresItsConfiguration) {
    EXPECT_EQ(filter->saveToSettings(&store), 0);
    store.saveFile();
    const std::string text = fileText(folder / "set.xml");
    std::size_t at = 0;
    for (const char* item :
         {R"("Interpolation" type="int">0<)", R"("Search" type="int">0<)", R"("LogFile" type="string"><)",
          R"("LogQualityValuesFile" type="string"><)", R"("DumpCompensationImages" type="bool">false<)",
          R"("PPEnabled" type="bool">true<)", R"("PPBadPixelsDetectorMultiplicator" type="double">3<)",
          R"("BadPixelsCustomMaskFile" type="string"><)",
          R"("PPMedianMin" type="double">0.05000000074505806<)",
          R"("PPMedianMax" type="double">0.949999988079071<)", R"("CustomMaskFile" type="string"><)",
          R"("QfBorderMaskSize" type="int">2<)", R"("QfTileSize" type="int">16<)",
          R"("QfTileThreshold" type="int">80<)", R"("Kernel" type="string">0,-1,0,-1,5,-1,0,-1,0<)"}) {
        const std::size_t found = text.find(item, at);
        ASSERT_NE(found, std::string::npos) << item << " is not behind the others in\n" << text;
        at = found;
    }
}

TEST_F(AdaptiveFFTest, KeepsWhatAStoreDoesNotHold) {
    writeCalibration();
    setForDivision();
    store.setString("Settings", "LogQualityValuesFile", "values.txt");
    store.setDouble("Settings", "PPMedianMin", 0.1);
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    ombrel::Settings other(folder / "set.xml", nullptr);
    other.setInt("Settings", "Search", 2);
    other.setString("Settings", "Kernel", "x,y"); // no numbers: the default
    EXPECT_EQ(filter->loadFromSettings(&other), 0);
    EXPECT_EQ(param("Search").getInt(), 0); // parameters keep what the first store gave
    EXPECT_EQ(param("Kernel").getString(), zeroSum);

    ombrel::Settings saved(folder / "saved.xml", nullptr);
    filter->saveToSettings(&saved);
    EXPECT_EQ(saved.getInt("Settings", "Search", -1), 2);
    EXPECT_EQ(saved.getString("Settings", "Kernel", "-"), "0,-1,0,-1,5,-1,0,-1,0");
    EXPECT_EQ(saved.getString("Settings", "LogQualityValuesFile", "-"), "values.txt");
    EXPECT_EQ(saved.getInt("Settings", "QfTileThreshold", -1), 100);
    EXPECT_EQ(saved.getDouble("Settings", "PPMedianMin", -1), double{0.1f});
    EXPECT_FALSE(saved.getBool("Settings", "PPEnabled", true));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(AdaptiveFFTest, AChangedParameterStartsTheEngineAgain) {
    writeCalibration();
    setForDivision();
    EXPECT_EQ(filter->loadFromSettings(&store), 0);
    EXPECT_EQ(param("Version").getString(), "1.5");
    const auto stored = [&](const char* key) {
        ombrel::Settings saved(folder / "saved.xml", nullptr);
        filter->saveToSettings(&saved);
        return saved.getString("Settings", key, "-");
    };
    param("Kernel").setString("1,,2,x,3.5");
    EXPECT_EQ(stored("Kernel"), "1,2,3.5");
    param("Kernel").setString("x,y"); // unlike the store, it leaves no kernel
    EXPECT_EQ(stored("Kernel"), "");
    EXPECT_THAT(takeLog(), IsEmpty());
    const auto frame = frameOf(flatField(1), 1e5f);
    EXPECT_EQ(filter->filterReplace(frame.get()), -1018);
    param("Kernel").setString(zeroSum);
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre(notCorrected));

    // Each start reads the calibration and the masks, so that each finds what is wrong with them by now.
    param("QFCustomMaskFile").setString((folder / "none").c_str());
    param("QFTileThreshold").setInt(50);
    EXPECT_THAT(takeLog(), ElementsAre(notStarted, notStarted));
    EXPECT_EQ(filter->filterReplace(frame.get()), -1018);
    param("QFCustomMaskFile").setString("");
    EXPECT_EQ(filter->filterReplace(frame.get()), 0);
    EXPECT_THAT(takeLog(), ElementsAre(notCorrected));

    param("PPEanbled").setBool(true);
    param("PPMedianMax").setDouble(0.9);
    ombrel::Settings saved(folder / "saved.xml", nullptr);
    filter->saveToSettings(&saved);
    EXPECT_TRUE(saved.getBool("Settings", "PPEnabled", false));
    EXPECT_EQ(saved.getDouble("Settings", "PPMedianMax", 0), double{0.9f});
    EXPECT_EQ(saved.getInt("Settings", "QfTileThreshold", 0), 50);
}

} // namespace
