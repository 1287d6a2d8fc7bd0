#include "HeapFixture.h"
#include "HostilePixels.h"

#include <array>
#include <numeric>
#include <random>

namespace {

using Store = c_CalibrationImages;

class CalibrationGrid : public HeapFixture {
protected:
    const AICImage& image(std::size_t point) const { return store.Images.at(point).Image; }
};

TEST_F(CalibrationGrid, MovesItsCursorInListOrderOverHoles) {
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

TEST_F(CalibrationGrid, SaysWhichAxisItDoesNotKnow) {
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

TEST_F(CalibrationGrid, FillsMidpointsFromTheAxisNearestToZero) {
    HeapBytes heap = heapOf({10, 20}, {1, 2}, {-1, 3});
    for (int i = 0; i < 8; ++i)
        heap.pair(static_cast<float>(i), static_cast<float>(i * i));
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

TEST_F(CalibrationGrid, FillsStoredHolesAndForeignSizesThatHaveNeighbours) {
    HeapBytes heap = heapOf({1}, {1}, {1, 2, 4, 5});
    heap.pair(3, 3).hole().block(3, 1, {1, 1, 1}).pair(15, 15);
    ASSERT_EQ(load(heap, 1), 0);
    EXPECT_EQ(image(2).at(0, 0), 6);
    EXPECT_FALSE(store.Images[2].Interpolated);
    EXPECT_EQ(image(4).cols(), 2);
    EXPECT_EQ(image(4).at(0, 0), 12);
    ASSERT_EQ(load(heapOf({1}, {1}, {1, 2}).hole().pair(1, 2), 1), 0);
    EXPECT_TRUE(image(0).empty()); // no neighbour before it
    ASSERT_EQ(load(heap), 0);
    EXPECT_TRUE(image(1).empty()); // without interpolation holes stay
}

TEST_F(CalibrationGrid, DividesByZeroBetweenEqualParameters) {
    ASSERT_EQ(load(heapOf({1}, {1}, {2, 2}).pair(1, 2).pair(3, 2), 1), 0);
    EXPECT_THAT(image(1).at(0, 0), IsNan());
    ASSERT_EQ(load(heapOf({1}, {1}, {1}).pair(3, 2), 1), 0);
    EXPECT_EQ(store.Images.size(), 1u);
}

// Each hole filled by itself, in the order of the three passes.
void fillByWalks(Store& grid) {
    for (const bool includeInterpolated : {false, true, true}) {
        for (auto point = grid.Images.begin(); point != grid.Images.end(); ++point) {
            bool done = false;
            if (!grid.hasImage(*point))
                grid.GetLinearInterpolatedImage1D(point, &done, includeInterpolated);
        }
    }
}

TEST_F(CalibrationGrid, FillsHolesAsWalksFromEachOfThemDo) {
    constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
    constexpr float most = std::numeric_limits<float>::max();
    std::mt19937 random(9);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        std::array<std::vector<float>, 3> axes;
        for (std::vector<float>& axis : axes) {
            axis.resize(1 + random() % 4);
            for (float& value : axis) { // also equal ones, which are on one line, and absurd ones
                value = random() % 30 == 0   ? most
                        : random() % 50 == 0 ? notANumber
                                             : static_cast<float>(random() % 6) - 2;
            }
        }
        HeapBytes heap = heapOf(axes[0], axes[1], axes[2]);
        for (std::size_t i = axes[0].size() * axes[1].size() * axes[2].size(); i > 0; --i) {
            const auto pixel = static_cast<float>(random() % 1000);
            random() % 3 == 0    ? heap.hole()
            : random() % 12 == 0 ? heap.block(3, 1, {pixel, pixel, pixel})
                                 : heap.pair(pixel, pixel / 7);
        }
        ASSERT_EQ(load(heap, 1), 0);
        Store stored; // with its holes
        Store walked;
        ASSERT_EQ(stored.Init(heapPath, Store::InterpolationNone, log), 0);
        ASSERT_EQ(walked.Init(heapPath, Store::InterpolationLinear1D, log), 0);
        auto next = stored.Images.begin();
        for (ImageContainer& point : walked.Images)
            point.Image = point.Interpolated ? AICImage() : next++->Image;
        fillByWalks(walked);
        for (std::size_t i = 0; i < walked.Images.size(); ++i)
            ASSERT_TRUE(sameBits(image(i).pixels(), std::as_const(walked).Images[i].Image.pixels())) << i;
    }
}

// Hundreds of thousands of points: work that grew with their square would outlast every time limit.
TEST_F(CalibrationGrid, LoadsAGridOfHolesInOneGo) {
    std::vector<float> line(400);
    std::iota(line.begin(), line.end(), 0.0f);
    HeapBytes heap = heapOf({1}, line, line);
    for (std::size_t i = 0; i < line.size() * line.size(); ++i)
        heap.hole();
    EXPECT_EQ(load(heap, 1), 0);
    EXPECT_EQ(store.Images.size(), 799u * 799u);
}

TEST_F(CalibrationGrid, LeavesAPointThatNoAxisCanFill) {
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

// OMBREL_MUTATIONS asks for another number of mutated heaps.
int mutationCount() {
    const char* const wanted = std::getenv("OMBREL_MUTATIONS");
    return wanted == nullptr ? 500 : std::atoi(wanted);
}

// A heap with a mask, a hole, and 2 x 3 x 2 stored grid points. Its floats, shifted by two bytes and read as
// sides of an image, are too large to be believed: images of a gigabyte would take their time.
HeapBytes intactHeap() {
    HeapBytes heap;
    heap.value(4).value(1).block(3, 2, {1024, 0, 1024, 1024, 1024, 1024});
    heap.vector({1000, 2000}).vector({5000, 6000, 7000}).vector({-1000, 1000});
    for (int i = 0; i < 12; ++i) {
        const float level = 1000.0f * static_cast<float>(1 + i);
        i == 7 ? heap.hole() : heap.block(3, 2, {level, 1000, 2000, 3000, 4000, 5000});
    }
    return heap;
}

void mutate(std::string& bytes, std::mt19937& random) {
    static constexpr std::int32_t stumbles[] = {0,       1,       2,       -1,         -3,
                                                1 << 16, 1 << 20, 1 << 28, 0x7fffffff, -0x7fffffff - 1};
    const std::size_t place = random() % (bytes.size() - 7) & ~std::size_t{3}; // where fields begin
    switch (random() % 4) {
    case 0:
        bytes[place + random() % 2] = static_cast<char>(random());
        break;
    case 1:
        bytes.replace(place, 4, reinterpret_cast<const char*>(&stumbles[random() % std::size(stumbles)]), 4);
        break;
    case 2:
        bytes.insert(place, bytes, random() % bytes.size(), random() % 32);
        break;
    default:
        bytes.erase(place, random() % 32);
    }
}

// Goes everywhere a caller may go.
void walkEverywhere(Store& store) {
    Store::Position found{};
    auto result = Store::ResultOk;
    std::size_t seen = 0;
    for (store.GetFirstImage(found, &result); result == Store::ResultOk; ++seen)
        store.GetNextImage(found, &result, true);
    ASSERT_EQ(seen, store.Images.size());
    for (std::size_t start = 0; start < seen; start += 1 + seen / 16) {
        const auto from = store.Images.begin() + static_cast<std::ptrdiff_t>(start);
        for (const auto axis : {Store::ParamV, Store::ParamT, Store::ParamE}) {
            store.GetNextImage(from, found, axis, &result, true);
            ASSERT_TRUE(result != Store::ResultOk || store.hasImage(*found));
        }
    }
}

class HeapMutation : public HeapFixture {};

TEST_F(HeapMutation, LeavesALoadedStoreWholeOrFails) {
    std::mt19937 random(8);
    int loaded = 0;
    for (int round = 0; round < mutationCount(); ++round) {
        SCOPED_TRACE(round);
        HeapBytes heap = intactHeap();
        for (unsigned count = 1 + random() % 3; count > 0; --count)
            mutate(heap.bytes, random);
        try {
            if (load(heap, round % 2) == 0) {
                ++loaded;
                walkEverywhere(store);
            }
        } catch (const std::length_error&) {
            // an image with one negative side
        }
        if (HasFatalFailure())
            return;
    }
    EXPECT_GT(loaded, mutationCount() / 10);
    EXPECT_LT(loaded, mutationCount());
}

} // namespace
