#include "HeapFixture.h"
#include "HostilePixels.h"

#include <optional>

namespace {

constexpr auto noVectors = "c_CalibrationImages::Init no init vectors passed\n";
constexpr auto badImage = "c_CalibrationImages::ReadImage image reading error\n"
                          "c_CalibrationImages::Init calibration image reading error\n";
constexpr auto badMask = "c_CalibrationImages::ReadImage image reading error\n"
                         "c_CalibrationImages::Init compensation mask reading error\n";

class CalibrationFiles : public HeapFixture {};

TEST_F(CalibrationFiles, LoadsAGridWithEOutermostLastAndItsMask) {
    HeapBytes heap;
    heap.value(4).value(-1).block(2, 1, {0.5f, 2}).vector({3, 1}).vector({5}).vector({7, 8});
    heap.pair(1, 2).pair(3, 4).pair(5, 6).pair(7, 8);
    ASSERT_EQ(load(heap, 7), 0); // an unknown interpolation is none
    EXPECT_EQ(store.Interpolation, Store::InterpolationNone);
    ASSERT_EQ(store.Images.size(), 4u);
    const ImageContainer& third = store.Images[2];
    EXPECT_EQ(std::tuple(third.V, third.T, third.E, third.Interpolated), std::tuple(1, 5, 7, false));
    EXPECT_THAT(third.Image.pixels(), ElementsAre(5, 6));
    EXPECT_EQ(std::tuple(store.StepV, store.StepT, store.StepE), std::tuple(2, 2, 1));

    int elementSize = 0;
    int number = 0;
    int cols = 0;
    int rows = 0;
    bool masked = false;
    AICImage mask;
    auto type = Store::Vectors3x3x3;
    EXPECT_EQ(store.GetSensorElementSize(&elementSize) + store.GetImagesNumber(&number) +
                  store.GetImagesSize(&cols, &rows) + store.CompensateMaskExists(&masked) +
                  store.GetCompensateMask(&mask) + store.GetVectorType(&type),
              0);
    EXPECT_EQ(std::tuple(elementSize, number, cols, rows, masked), std::tuple(4, 4, 2, 1, true));
    EXPECT_EQ(type, Store::VectorsGeneric);
    EXPECT_THAT(mask.pixels(), ElementsAre(0.5, 2));
    EXPECT_EQ(logText(), "");
}

TEST_F(CalibrationFiles, TellsTheShapeOfTheStoredGridEvenWhereLoadingFails) {
    const std::vector<float> three{1, 2, 3};
    const std::vector<float> five{1, 2, 3, 4, 5};
    EXPECT_EQ(load(heapOf(three, three, three), 1), -1);
    EXPECT_EQ(store.VectorType, Store::Vectors3x3x3);
    EXPECT_EQ(load(heapOf(five, five, five)), -1);
    EXPECT_EQ(store.VectorType, Store::Vectors5x5x5);
    EXPECT_THAT(logText(), EndsWith(badImage));
    EXPECT_EQ(load(heapOf(three, {}, three)), -1);
    EXPECT_EQ(store.VectorType, Store::VectorsGeneric);
    EXPECT_THAT(logText(), EndsWith(noVectors));
}

TEST_F(CalibrationFiles, RefusesAFileThatIsNotThere) {
    EXPECT_EQ(store.Init(folder / "none", Store::InterpolationNone, log), -1);
    EXPECT_EQ(logText(), "c_CalibrationImages::Init error opening ff heap file\n");
    EXPECT_EQ(store.Init(folder.path.string(), Store::InterpolationNone, log), -1);
    EXPECT_THAT(logText(), EndsWith(noVectors));
    std::ofstream closed;
    EXPECT_EQ(store.Init(folder / "none", Store::InterpolationNone, closed), -1);
    EXPECT_EQ(Store().ReadImage("", nullptr), -1); // no log at all
}

TEST_F(CalibrationFiles, KeepsHolesAndForeignSizesApartFromImages) {
    HeapBytes heap = heapOf({1}, {1}, {1, 2, 3, 4, 5});
    heap.hole().pair(1, 2).block(3, 1, {1, 2, 3}).block(-2, -3, {1, 2, 3, 4, 5, 6}).pair(3, 4);
    ASSERT_EQ(load(heap), 0);
    std::vector<bool> usable;
    std::ranges::transform(store.Images, std::back_inserter(usable),
                           [this](const ImageContainer& point) { return store.hasImage(point); });
    EXPECT_THAT(usable, ElementsAre(false, true, false, false, true));
    EXPECT_EQ(store.Images[2].Image.cols(), 3);
    EXPECT_TRUE(store.Images[3].Image.empty());
    EXPECT_EQ(logText(), "c_CalibrationImages::Init calibration image of another size not used "
                         "(3 x 1 at 1, 1, 3)\n");
    int cols = -1;
    int rows = -1;
    store.GetImagesSize(&cols, &rows);
    EXPECT_EQ(cols + rows, 0);
}

TEST_F(CalibrationFiles, JudgesAbsurdImageSizes) {
    constexpr int most = std::numeric_limits<int>::max();
    const auto loadBlock = [this](int cols, int rows) {
        return load(heapOf({1}, {1}, {1}).block(cols, rows, {}));
    };
    EXPECT_EQ(loadBlock(1000, 1000), 0);
    EXPECT_EQ(store.Images[0].Image.sum(), 0);
    const int absurd[][2] = {{0, 4},
                             {4, 0},
                             {1 << 16, 1 << 16},
                             {most, most},
                             {-most - 1, -most - 1},
                             {(1 << 28) + 1, 1},
                             {-1 << 15, -1 << 14}};
    for (const auto& [cols, rows] : absurd)
        EXPECT_EQ(loadBlock(cols, rows), -1) << cols << " x " << rows;
    EXPECT_THROW(loadBlock(-1, 5), std::length_error);
    EXPECT_THROW(loadBlock(1 << 16, -1 << 16), std::length_error);
    EXPECT_THROW(load(HeapBytes().value(1).value(1).block(3, -1, {})), std::length_error);
}

TEST_F(CalibrationFiles, TakesACountThatTheFileCannotHoldAsAFailedRead) {
    for (const std::uint64_t count : {std::uint64_t{3}, std::uint64_t{1} << 61, ~std::uint64_t{0}}) {
        HeapBytes heap;
        heap.value(1).value(0).vector({1}).value(count).value(1.0f).value(2.0f);
        EXPECT_EQ(load(heap), -1);
        EXPECT_THAT(logText(), EndsWith(noVectors));
    }
}

TEST_F(CalibrationFiles, SurvivesEveryTruncation) {
    HeapBytes heap;
    heap.value(4).value(1).pair(0.5f, 2);
    const std::size_t maskHeaderEnd = 16;
    heap.vector({1}).vector({1, 2}).vector({1});
    const std::size_t vectorsEnd = heap.bytes.size();
    heap.pair(1, 2);
    heap.pair(3, 4);
    const std::size_t lastHeaderEnd = heap.bytes.size() - 8;
    for (std::size_t end = 0; end <= heap.bytes.size(); ++end) {
        SCOPED_TRACE(end);
        Store fresh;
        std::ofstream freshLog(logPath);
        writeFileText(heapPath, heap.bytes.substr(0, end));
        const int status = fresh.Init(heapPath, Store::InterpolationLinear1D, freshLog);
        EXPECT_EQ(status, end < lastHeaderEnd ? -1 : 0);
        EXPECT_EQ(fresh.SensorElementSize, end < 4 ? 0 : 4);
        EXPECT_EQ(fresh.CompensateMaskFlag, end < 8 ? 0 : 1);
        EXPECT_EQ(logText(), end < 8               ? noVectors
                             : end < maskHeaderEnd ? badMask
                             : end < vectorsEnd    ? noVectors
                             : end < lastHeaderEnd ? badImage
                                                   : "");
        if (status == 0) {
            std::string pixels = heap.bytes.substr(lastHeaderEnd, end - lastHeaderEnd);
            pixels.resize(8); // what is missing is 0
            const auto bytes = std::as_bytes(fresh.Images.back().Image.pixels());
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()), pixels);
        }
    }
}

TEST_F(CalibrationFiles, WritesAnImageBlockThatReadsBack) {
    std::mt19937 random(6);
    const AICImage image = hostileImage(5, 3, random);
    const std::string path = folder / "block.bin";
    store.Init(log);
    {
        std::ofstream file(path, std::ios::binary);
        EXPECT_EQ(store.WriteImage(image, file), 0);
        EXPECT_EQ(store.WriteImage(AICImage(), file), -1);
    }
    std::ofstream closed;
    EXPECT_EQ(store.WriteImage(image, closed), -1);
    AICImage back;
    EXPECT_EQ(store.ReadImage(path.c_str(), &back), 0);
    EXPECT_TRUE(back.sameShape(image));
    EXPECT_TRUE(sameBits(back.pixels(), image.pixels()));
    EXPECT_EQ(store.ReadImage("", &back), -1);
    EXPECT_EQ(store.ReadImage((folder / "none").c_str(), &back), -1);
    writeFileText(path, "short");
    EXPECT_EQ(store.ReadImage(path.c_str(), &back), -1);
    EXPECT_EQ(logText(), "c_CalibrationImages::WriteImage image data not passed\n"
                         "c_CalibrationImages::WriteImage image file not opened\n"
                         "c_CalibrationImages::ReadImage image file name not passed ()\n"
                         "c_CalibrationImages::ReadImage error opening file (" +
                             (folder / "none") +
                             ")\n"
                             "c_CalibrationImages::ReadImage image reading error\n"
                             "c_CalibrationImages::ReadImage error reading file (" +
                             path + ")\n");
}

TEST_F(CalibrationFiles, ReadsTextImagesByTheirTotalCount) {
    const std::string path = folder / "image.txt";
    store.Init(log);
    const auto read = [&](const std::string& text, AICImage image = {}) -> std::optional<AICImage> {
        writeFileText(path, text);
        return store.ReadImageTxt(path.c_str(), &image) == 0 ? std::optional(image) : std::nullopt;
    };
    auto image = read("1 2 3\n4.5\n6e1 -7 bad 8");
    ASSERT_TRUE(image);
    EXPECT_EQ(std::pair(image->cols(), image->rows()), std::pair(2, 3));
    EXPECT_THAT(image->pixels(), ElementsAre(1, 2, 3, 4.5, 60, -7));
    image = read("1 2 3\n\n", imageOf(1, 1, {9}));
    ASSERT_TRUE(image);
    EXPECT_THAT(image->pixels(), ElementsAre(9, 1, 2, 3));
    const std::string where = " (" + path + ")\n";
    for (const char* malformed : {"1\n2\n3\n", "1 2 3\n4 5\n", "1 2\n\n\n"}) {
        EXPECT_FALSE(read(malformed));
        EXPECT_THAT(logText(), EndsWith("c_CalibrationImages::ReadImageTxt image formating error" + where));
    }
    EXPECT_FALSE(read("", imageOf(2, 1, {1, 2})));
    EXPECT_FALSE(read("none\n"));
    EXPECT_THAT(logText(), EndsWith("c_CalibrationImages::ReadImageTxt image reading error" + where));
    EXPECT_EQ(store.ReadImageTxt("", &*image), -1);
    EXPECT_EQ(store.ReadImageTxt((folder / "none").c_str(), &*image), -1);
    EXPECT_THAT(logText(), EndsWith("c_CalibrationImages::ReadImageTxt image file name not passed ()\n"
                                    "c_CalibrationImages::ReadImageTxt image file opening error (" +
                                    (folder / "none") + ")\n"));
}

TEST_F(CalibrationFiles, WritesTextImagesWithSixDigits) {
    const std::string path = folder / "image.txt";
    store.Init(log);
    EXPECT_EQ(store.WriteImageTxt(imageOf(2, 2, {1.0f / 3, 1234567, -0.0f, 1e-7f}), path), 0);
    EXPECT_EQ(fileText(path), "0.333333 1.23457e+06\n-0 1e-07\n");
    EXPECT_EQ(store.WriteImageTxt(AICImage(), ""), -1);
    EXPECT_EQ(store.WriteImageTxt(AICImage(), path), -1);
    EXPECT_EQ(store.WriteImageTxt(AICImage(1, 1), folder / "none/image.txt"), -1);
    EXPECT_EQ(logText(), "c_CalibrationImages::WriteImageTxt image file name not passed\n"
                         "c_CalibrationImages::WriteImageTxt image data not passed\n"
                         "c_CalibrationImages::WriteImageTxt image file opening error\n");
}

} // namespace
