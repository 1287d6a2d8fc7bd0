// The files that the open host writes, read back by the engine that they are for: two readings of one format
// that share no code.
#include "standalone/CalibrationHeap.h"

#include "aic/CalibrationImages.h"
#include "fixtures/FileText.h"
#include "fixtures/TemporaryFolder.h"
#include "standalone/Error.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

namespace {

using ombrel::CalibrationGrid;
using ombrel::CalibrationHeap;
using ombrel::GridPoint;

class CalibrationHeapTest : public ::testing::Test {
protected:
    static std::vector<float> image(float level) { return {level, level + 1, level + 2, -level, 0, 0.1f}; }
    std::ptrdiff_t filesInFolder() const {
        return std::distance(std::filesystem::directory_iterator(folder.path), {});
    }

    TemporaryFolder folder;
    std::string path = folder / "set.bin";
    // Two values of V, three of E, and the last point but one left out.
    CalibrationGrid grid{std::vector<GridPoint>{{1, 5, 0}, {1, 5, 1}, {1, 5, 2}, {3, 5, 0}, {3, 5, 2}},
                         std::vector<GridPoint>{{3, 5, 1}}};
    ombrel::HeapSettings settings{.elementSize = 4, .width = 3, .height = 2, .compensationMask = {}};
};

TEST_F(CalibrationHeapTest, isReadBackByTheEngine) {
    const std::vector<float> mask = image(9);
    for (const bool masked : {false, true}) {
        settings.compensationMask = masked ? std::span(mask) : std::span<const float>();
        CalibrationHeap heap(path, grid, settings);
        for (const float level : {1.0f, 2.0f, 3.0f, 4.0f, 5.0f}) {
            heap.append(image(level));
        }
        heap.commit();
        EXPECT_EQ(filesInFolder(), 1);

        c_CalibrationImages store;
        std::ofstream log(folder / "log");
        ASSERT_EQ(store.Init(path, c_CalibrationImages::InterpolationNone, log), 0);
        EXPECT_EQ(fileText(folder / "log"), "");
        std::filesystem::remove(folder / "log");
        EXPECT_EQ(store.SensorElementSize, 4);
        EXPECT_THAT(store.CompensateMask.pixels(), ElementsAreArray(masked ? mask : std::vector<float>()));
        ASSERT_EQ(store.Images.size(), 6u);
        const ImageContainer& last = store.Images[5];
        EXPECT_EQ(std::tuple(last.V, last.T, last.E), std::tuple(3, 5, 2));
        EXPECT_THAT(last.Image.pixels(), ElementsAreArray(image(5)));
        EXPECT_EQ(last.Image.cols(), 3);
        EXPECT_FALSE(store.hasImage(store.Images[4]));
        EXPECT_THAT(store.Images[3].Image.pixels(), ElementsAreArray(image(4)));
    }
}

TEST_F(CalibrationHeapTest, leavesTheOldFileAloneUntilTheNewOneIsWhole) {
    writeFileText(path, "old");
    {
        CalibrationHeap heap(path, grid, settings);
        heap.append(image(1));
        EXPECT_THROW(heap.append(std::vector<float>(5)), ombrel::Error);
        EXPECT_THROW(heap.commit(), std::logic_error);
    }
    settings.compensationMask = std::span(grid.v());
    EXPECT_THROW(CalibrationHeap(path, grid, settings), ombrel::Error);
    for (const auto& [width, height] : {std::pair(1u, 2u), {2, 0}, {1 << 16, 1 << 16}}) {
        settings = {.elementSize = 4, .width = width, .height = height, .compensationMask = {}};
        EXPECT_THROW(CalibrationHeap(path, grid, settings), ombrel::Error);
    }
    EXPECT_EQ(fileText(path), "old");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(CalibrationHeapTest, writesMasksAsImageBlocks) {
    const std::vector<float> pixels = image(1);
    ombrel::writeImageBlock(path, {2, 3, pixels});
    c_CalibrationImages store;
    AICImage read;
    ASSERT_EQ(store.ReadImage(path.c_str(), &read), 0);
    EXPECT_EQ(std::pair(read.cols(), read.rows()), std::pair(2, 3));
    EXPECT_THAT(read.pixels(), ElementsAreArray(pixels));
    EXPECT_THROW(ombrel::writeImageBlock(path, {2, 2, pixels}), ombrel::Error);
}

} // namespace
