#include <gmock/gmock.h>

#include <algorithm>

#include "HeapFixture.h"
#include "HostilePixels.h"
#include "PlainGridWalk.h"

using ::testing::EndsWith;
using ::testing::IsNan;

namespace {

using Store = c_CalibrationImages;

class CalibrationGrid : public HeapFixture {
protected:
    const AICImage& image(std::size_t point) const { return store.Images.at(point).Image; }
};

TEST_F(CalibrationGrid, movesItsCursorInListOrderOverHoles) {
    Store::Position found{};
    auto result = Store::ResultOk;
    store.Init(log);
    EXPECT_EQ(store.GetFirstImage(found, &result), 0);
    EXPECT_EQ(result, Store::ResultNotFound);
    store.GetNextImage(found, &result, true);
    EXPECT_EQ(result, Store::ResultNoNext);

    ASSERT_EQ(load(heapOf({1}, {1}, {1, 2, 3, 4}).pair(1, 1).hole().pair(3, 3).hole()), 0);
    store.GetNextImage(found, &result, false);
    EXPECT_EQ(std::pair(result, found - store.Images.begin()), std::pair(Store::ResultOk, 2L));
    store.GetNextImage(found, &result, false);
    EXPECT_EQ(result, Store::ResultNoNext);
    EXPECT_EQ(store.Current - store.Images.begin(), 2);
    store.GetNextImage(found, &result, true);
    store.GetCurrentImage(found, &result);
    EXPECT_EQ(std::pair(result, found - store.Images.begin()), std::pair(Store::ResultOk, 3L));
    store.ResetToFirstImage();
    store.GetCurrentImage(found, &result);
    EXPECT_EQ(found, store.Images.begin());
}

TEST_F(CalibrationGrid, saysWhichAxisItDoesNotKnow) {
    ASSERT_EQ(load(heapOf({1}, {1}, {1}).pair(1, 2)), 0);
    Store::Position found{};
    auto result = Store::ResultOk;
    int step = 0;
    EXPECT_EQ(store.GetImageStep(Store::ParamNone, &step), -1);
    EXPECT_EQ(step, 1);
    EXPECT_EQ(store.GetNextImage(store.Current, found, Store::ParamNone, &result, true), -1);
    EXPECT_EQ(store.GetPreviousImage(store.Current, found, Store::ParamNone, &result, true), -1);
    EXPECT_EQ(result, Store::ResultError);
    const std::string step1 = "c_CalibrationImages::getImageStep setting vector type step error\n";
    EXPECT_EQ(logText(), step1 + step1 +
                             "c_CalibrationImages::GetNextImage setting vector type step error\n" + step1 +
                             "c_CalibrationImages::GetPreviousImage setting vector type step error\n");
}

TEST_F(CalibrationGrid, fillsMidpointsFromTheAxisNearestToZero) {
    HeapBytes heap = heapOf({10, 20}, {1, 2}, {-1, 3});
    for (int i = 0; i < 8; ++i) {
        heap.pair(static_cast<float>(i), static_cast<float>(i * i));
    }
    ASSERT_EQ(load(heap, 1), 0);
    ASSERT_EQ(store.Images.size(), 27u);
    EXPECT_EQ(std::tuple(store.StepV, store.StepT, store.StepE), std::tuple(9, 3, 1));
    const ImageContainer& edge = store.Images[1]; // between the first two blocks, E from -1 to 3
    EXPECT_EQ(std::tuple(edge.V, edge.T, edge.E, edge.Interpolated), std::tuple(10, 1, 1, true));
    EXPECT_EQ(edge.Image.at(0, 0), 0.5);
    EXPECT_EQ(edge.Image.at(1, 0), 0.5);
    // Amid the grid T is cheaper than E, 1 + 2 against 1 + 3, and both than V.
    EXPECT_EQ(image(13).at(1, 0), (image(10).at(1, 0) + image(16).at(1, 0)) / 2);
    EXPECT_EQ(store.Current - store.Images.begin(), 26);
    EXPECT_TRUE(std::ranges::none_of(store.Images, [](const auto& point) { return point.Image.empty(); }));
}

TEST_F(CalibrationGrid, leavesAPointThatNoAxisCanFill) {
    ASSERT_EQ(load(heapOf({1, 2}, {1}, {1}).pair(1, 2).pair(3, 4)), 0);
    const Store::Position point = store.Images.begin();
    Store::Position a{};
    Store::Position b{};
    auto axis = Store::ParamV;
    EXPECT_EQ(store.GetBaseImages(point, a, b, &axis, true), 0);
    EXPECT_EQ(axis, Store::ParamNone);
    bool done = true;
    EXPECT_EQ(store.GetLinearInterpolatedImage1D(point, &done, true), 0);
    EXPECT_FALSE(done);

    EXPECT_EQ(store.CombineLinear1D(point, point + 1, point, Store::ParamNone), -1);
    EXPECT_THAT(image(0).at(0, 0), IsNan());
    store.Images[0].Image.release();
    EXPECT_EQ(store.CombineLinear1D(point, point + 1, point, Store::ParamV), 0);
    EXPECT_TRUE(image(0).empty());
    EXPECT_EQ(logText(), "c_CalibrationImages::CombineLinear1D setting vector type step error\n"
                         "c_CalibrationImages::CombineLinear1D problem getting image size\n");
    store.Interpolation = static_cast<Store::InterpolationType>(7);
    EXPECT_EQ(store.GenerateInterpolatedImages(), -1);
    EXPECT_THAT(logText(),
                EndsWith("c_CalibrationImages::GenerateInterpolatedImages interpolation mismatch\n"
                         "c_CalibrationImages::GenerateInterpolatedImages error runing interpolation\n"));
}

// A random grid with holes, foreign sizes, and parameters that repeat, tie, lie near zero or are no numbers.
HeapBytes randomHeap(std::mt19937& random) {
    const auto axis = [&random] {
        std::vector<float> values;
        const auto count = 1 + random() % 4;
        for (unsigned i = 0; i < count; ++i) {
            const float step = static_cast<float>(random() % 4) - 0.5f;
            values.push_back((values.empty() ? -2 : values.back()) + step);
        }
        if (random() % 8 == 0) {
            values.back() = hostilePixel(random);
        }
        return values;
    };
    const auto v = axis();
    const auto t = axis();
    const auto e = axis();
    HeapBytes heap = heapOf(v, t, e);
    for (std::size_t i = 0; i < v.size() * t.size() * e.size(); ++i) {
        random() % 5 == 0    ? heap.hole()
        : random() % 20 == 0 ? heap.block(3, 1, {1, 2, 3})
                             : heap.pair(hostilePixel(random), hostilePixel(random));
    }
    return heap;
}

// The grid of `loaded` before its interpolation; `stored` is the same heap loaded without.
void takeGridBack(const Store& loaded, Store& stored) {
    auto block = stored.Images.begin();
    auto points = loaded.Images;
    for (ImageContainer& point : points) {
        point.Image = point.Interpolated ? AICImage() : block++->Image;
    }
    stored.Images = std::move(points);
    stored.StepV = loaded.StepV;
    stored.StepT = loaded.StepT;
}

TEST_F(CalibrationGrid, walksAndInterpolatesAsThePlainDefinition) {
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(load(randomHeap(random), 1), 0);
        Store expected;
        ASSERT_EQ(expected.Init(heapPath, Store::InterpolationNone, log), 0);
        takeGridBack(store, expected);
        plain::interpolateGrid(expected);
        ASSERT_EQ(store.Images.size(), expected.Images.size());
        for (std::size_t i = 0; i < store.Images.size(); ++i) {
            ASSERT_TRUE(sameBits(image(i).pixels(), expected.Images[i].Image.pixels())) << "grid point " << i;
        }
        for (int i = 0; i < 40; ++i) {
            const int start = static_cast<int>(random() % store.Images.size());
            const auto axis = static_cast<Store::ParamType>(random() % 3);
            const plain::Walk walk{store, random() % 2 == 0};
            Store::Position found{};
            auto result = Store::ResultOk;
            const auto place = [&] { return result == Store::ResultOk ? found - store.Images.begin() : -1; };
            store.GetNextImage(store.Images.begin() + start, found, axis, &result, walk.includeInterpolated);
            ASSERT_EQ(walk.neighbour(start, axis, 1), place());
            store.GetPreviousImage(store.Images.begin() + start, found, axis, &result,
                                   walk.includeInterpolated);
            ASSERT_EQ(walk.neighbour(start, axis, -1), place());
        }
    }
}

} // namespace
