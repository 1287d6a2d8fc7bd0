#include "calibration/CalibrationHeap.h"

#include "base/Error.h"
#include "fixtures/Testing.h"

using ombrel::CalibrationGrid;
using ombrel::CalibrationHeap;
using ombrel::GridPoint;

TEST(CalibrationHeap, LeavesTheOldFileAloneUntilTheNewOneIsWhole) {
    const TemporaryFolder folder;
    const std::string path = folder / "set.bin";
    const CalibrationGrid grid(std::vector<GridPoint>{{1, 5, 0}, {3, 5, 0}}, {});
    ombrel::HeapSettings settings{.elementSize = 4, .width = 3, .height = 2, .compensationMask = {}};
    writeFileText(path, "old");
    {
        CalibrationHeap heap(path, grid, settings);
        heap.append(std::vector<float>(6));
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
    EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(CalibrationHeap, ReplacesHeapsAndEmptyFilesOnly) {
    const TemporaryFolder folder;
    const std::string path = folder / "set.bin";
    EXPECT_TRUE(CalibrationHeap::mayReplace(path));
    const CalibrationGrid grid(std::vector<GridPoint>{{1, 5, 0}, {3, 5, 0}, {1, 6, 0}},
                               std::vector<GridPoint>{{3, 6, 0}});
    const std::vector<float> mask(6);
    CalibrationHeap heap(path, grid, {.elementSize = 4, .width = 3, .height = 2, .compensationMask = mask});
    for (int flat = 0; flat < 3; ++flat)
        heap.append(mask);
    heap.commit();
    EXPECT_TRUE(CalibrationHeap::mayReplace(path));
    const std::string whole = fileText(path);
    const auto mayReplace = [&](const std::string& bytes) {
        writeFileText(path, bytes);
        return CalibrationHeap::mayReplace(path);
    };
    EXPECT_TRUE(mayReplace(""));
    EXPECT_FALSE(mayReplace(whole + "x"));
    for (std::size_t size = 1; size < whole.size(); ++size)
        EXPECT_FALSE(mayReplace(whole.substr(0, size))) << size;
    EXPECT_FALSE(
        mayReplace(std::string(whole).replace(8, 8, "\xff\xff\xff\x7f\xff\xff\xff\x7f"))); // a mask's sides
    EXPECT_FALSE(mayReplace(std::string(whole).replace(40, 8, std::string(8, '\xff'))));   // a count
}
