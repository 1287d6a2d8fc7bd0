#include "image/AICImage.h"

#include "EngineFixture.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

TEST(AICImage, TakesItsShapeFromTheElementCountAsItGrows) {
    AICImage image;
    for (int i = 0; i < 6; ++i)
        image.push_back(static_cast<float>(i));
    EXPECT_EQ(image.cols(), 6);
    image.reshape_r(2);
    EXPECT_EQ(image.cols(), 3);
    EXPECT_EQ(image.at(0, 1), 3);
    image.reshape_r(4); // a remainder of two pixels stays stored
    EXPECT_EQ(image.cols(), 1);
    EXPECT_EQ(image.pixels().size(), 6u);
    image.push_back(7);
    EXPECT_EQ(image.cols(), 5);
    EXPECT_EQ(image.rows(), 1);
    EXPECT_EQ(image.pixels().back(), 7);
    EXPECT_THROW(image.reshape_c(0), std::invalid_argument);
    image.release();
    EXPECT_TRUE(image.empty());
    EXPECT_EQ(image.cols() + image.rows(), 0);
}

TEST(AICImage, MultipliesItsSidesAsWrapping32BitIntegers) {
    AICImage image(2, 2);
    EXPECT_THROW(image.zeros(-1, 3), std::length_error);
    EXPECT_EQ(image.pixels().size(), 4u);
    image.ones(1 << 16, 1 << 16);
    EXPECT_TRUE(image.empty());
    EXPECT_EQ(image.rows(), 1 << 16);
    image.ones(-2, -3);
    EXPECT_THAT(image.pixels(), ElementsAre(1, 1, 1, 1, 1, 1));
}

TEST(AICImage, RefusesPixelsOutside) {
    AICImage image = imageOf(3, 2, {0, 1, 2, 3, 4, 5});
    AICImage small(2, 1);
    EXPECT_EQ(image.at(5, 0), 5); // the index counts, not the column
    EXPECT_THROW(image.at(0, 2), std::out_of_range);
    EXPECT_THROW(image.at(-1, 0), std::out_of_range);
    EXPECT_THROW(image.at(0, -1, 1.0f), std::out_of_range);
    EXPECT_THROW(image.sum(2, 1, 2, 1), std::out_of_range);
    EXPECT_THROW(image.sum(0, -1, 1, 2), std::out_of_range);
    EXPECT_THROW(image.copyTo(&small, 0, 0, 3, 1), std::out_of_range);
    EXPECT_THROW(AICImage().min_val(), std::out_of_range);
    EXPECT_THROW(AICImage().normalize(0, 1), std::out_of_range);
    EXPECT_THROW(AICImage().median_3(0), std::out_of_range);
}

TEST(AICImage, CopiesWholeOrByRegion) {
    const AICImage image = imageOf(3, 2, {0, 1, 2, 3, 4, 5});
    AICImage target(3, 2);
    image.copyTo(&target, 1, 0, 2, 2);
    EXPECT_THAT(target.pixels(), ElementsAre(0, 1, 2, 0, 4, 5));
    image.copyTo(&target);
    target.copyTo(&target);
    EXPECT_TRUE(sameBits(target.pixels(), image.pixels()));
    target.at(0, 0, 9);
    EXPECT_EQ(image.at(0, 0), 0);
}

TEST(AICImage, CalculatesPixelByPixelAsFarAsBothGo) {
    const AICImage a = imageOf(4, 1, {3, 0, -1, 8});
    const AICImage b = imageOf(3, 1, {2, 0, 0});
    const auto inPlace = [&](void (AICImage::*operation)(AICImage)) {
        AICImage image = a;
        (image.*operation)(b);
        return std::vector<float>(image.pixels().begin(), image.pixels().end());
    };
    const auto intoThird = [&](void (*operation)(AICImage, AICImage, AICImage*)) {
        AICImage image;
        image.ones(5, 1); // of which nothing stays
        operation(a, b, &image);
        EXPECT_TRUE(image.sameShape(a));
        return std::vector<float>(image.pixels().begin(), image.pixels().end());
    };
    EXPECT_THAT(inPlace(&AICImage::sub), ElementsAre(1, 0, -1, 8));
    EXPECT_THAT(inPlace(&AICImage::add), ElementsAre(5, 0, -1, 8));
    EXPECT_THAT(inPlace(&AICImage::mul), ElementsAre(6, 0, 0, 8));
    EXPECT_THAT(inPlace(&AICImage::div), ElementsAre(1.5, IsNan(), -infinity, 8));
    EXPECT_THAT(intoThird(&AICImage::sub), ElementsAre(1, 0, -1, 0));
    EXPECT_THAT(intoThird(&AICImage::add), ElementsAre(5, 0, -1, 0));
    EXPECT_THAT(intoThird(&AICImage::mul), ElementsAre(6, 0, 0, 0));
    EXPECT_THAT(intoThird(&AICImage::div), ElementsAre(1.5, IsNan(), -infinity, 0));
}

TEST(AICImage, ThresholdsLeaveEqualPixelsAndNaN) {
    const auto after = [](void (AICImage::*threshold)(float, float)) {
        AICImage image = imageOf(4, 1, {0.5f, 1.0f, 1.5f, nan});
        (image.*threshold)(1.0f, 5.0f);
        return std::vector<float>(image.pixels().begin(), image.pixels().end());
    };
    EXPECT_THAT(after(&AICImage::threshold_min), ElementsAre(5, 1, 1.5, IsNan()));
    EXPECT_THAT(after(&AICImage::threshold_max), ElementsAre(0.5, 1, 5, IsNan()));
    EXPECT_THAT(after(&AICImage::threshold_bin), ElementsAre(0, 0, 5, 0));
    EXPECT_THAT(after(&AICImage::threshold_ibin), ElementsAre(5, 0, 0, 0));
}

TEST(AICImage, FindsExtremesByTheRuleOfTheStandardLibrary) {
    AICImage zeros(32, 1);
    zeros.at(5, 0, -0.0f);
    std::ranges::fill(zeros.pixels().first(5), 1.0f);
    EXPECT_TRUE(sameBits(zeros.min_val(), -0.0f)); // the first of equals

    std::mt19937 random(2);
    for (int length = 1; length < 400; ++length) {
        AICImage image = hostileImage(length, 1, random);
        if (length % 3 == 0) { // zeros of both signs as extremes
            image.abs();
            image.mul(random() % 2 ? 1.0f : -1.0f);
            image.at(length - 1, 0, length % 2 ? 0.0f : -0.0f);
        }
        const auto pixels = image.pixels();
        ASSERT_TRUE(sameBits(image.min_val(), *std::min_element(pixels.begin(), pixels.end()))) << length;
        ASSERT_TRUE(sameBits(image.max_val(), *std::max_element(pixels.begin(), pixels.end()))) << length;
    }
}

TEST(AICImage, SumsInDoubleAndRoundsWhereTold) {
    constexpr float big = 1 << 24; // where floats stop holding every integer
    const AICImage image = imageOf(3, 2, {big, 1, 1, 1, 1, 1});
    EXPECT_EQ(image.sum(), big + 4); // 2^24 + 5 rounded once
    EXPECT_EQ(image.sum(0, 0, 3, 2), big + 4);
    EXPECT_EQ(image.sum(0, 0, 1, 2), big);                          // 2^24 + 1 rounded after the second row
    EXPECT_EQ(imageOf(2, 2, {-big, 0, big, 1}).sum(0, 0, 2, 2), 1); // a row is not rounded before it is added
    EXPECT_EQ(image.sum(1, 0, 1, 0), 0);
    EXPECT_EQ(AICImage().sum(), 0);
}

TEST(AICImage, NormalizesInTheOrderOfTheFormula) {
    const AICImage image = imageOf(3, 1, {0.1f, 0.3f, 0.5f});
    AICImage inPlace = image;
    AICImage third;
    inPlace.normalize(0.1f, 1);
    AICImage::normalize(image, &third, 0.1f, 1);
    EXPECT_THAT(third.pixels(), ElementsAre(0.1f, 0x1.19999ap-1f, 1)); // ...9c in any other order
    EXPECT_TRUE(sameBits(inPlace.pixels(), third.pixels()));
    AICImage flat = imageOf(2, 1, {4, 4});
    flat.normalize(0, 1);
    EXPECT_THAT(flat.pixels(), Each(IsNan()));
}

TEST(AICImage, StretchesToBytes) {
    std::vector<unsigned char> bytes;
    imageOf(3, 1, {0, 1, 2}).convert_to_uchar(&bytes);
    EXPECT_THAT(bytes, ElementsAre(0, 128, 255));
    imageOf(2, 1, {4, 4}).convert_to_uchar(&bytes);
    EXPECT_THAT(bytes, ElementsAre(0, 0));
    imageOf(3, 1, {0, infinity, 1e38f}).convert_to_uchar(&bytes);
    EXPECT_THAT(bytes, ElementsAre(0, 0, 0));
}

TEST(AICImage, PaintsBordersAlongTheRunningIndex) {
    const int cases[][4] = {{16, 16, 8, 2}, {15, 9, 4, 1}, {7, 20, 5, 3}, {12, 5, 0, 1}, {6, 6, 3, 0},
                            {9, 9, 2, 4},   {8, 8, -3, 2}, {5, 5, 4, -1}, {1, 30, 7, 2}};
    for (const auto& [cols, rows, step, half] : cases) {
        AICImage actual;
        actual.ones(cols, rows);
        actual.generate_borders(step, half, 0);
        EXPECT_TRUE(sameBits(plainImage(actual).pixels, plain::borderMask(cols, rows, step, half).pixels))
            << cols << " x " << rows << ", " << step;
    }
    AICImage image(4, 4);
    constexpr int most = std::numeric_limits<int>::max();
    image.generate_borders(most, 1, 7); // far beyond 32 bits
    EXPECT_THAT(image.pixels(), ElementsAre(7, 7, 7, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    image.generate_borders(std::numeric_limits<int>::min(), most, 3);
    EXPECT_EQ(image.at(0, 0), 3);
}

TEST(AICImage, CorrelatesInTheOrderOfTheDefinition) {
    std::mt19937 random(4);
    for (const int size : {0, 1, 2, 3, 4, 5, 7}) {
        for (const auto& [cols, rows] : {std::pair{1, 1}, {3, 3}, {4, 9}, {23, 6}, {35, 11}}) {
            const AICImage image = hostileImage(cols, rows, random);
            std::vector<float> kernel(static_cast<std::size_t>((size + 1) * (size + 1)));
            std::ranges::generate(kernel,
                                  [&] { return std::uniform_real_distribution<float>(-2, 2)(random); });
            AICImage actual;
            AICImage::filter2D(image, &actual, kernel.data(), size);
            const plain::Image expected = plain::correlation(plainImage(image), kernel, size);
            EXPECT_TRUE(sameBits(plainImage(actual).pixels, expected.pixels))
                << cols << " x " << rows << ", kernel of " << size;
        }
    }
}

TEST(AICImage, TakesTheMedianWithEdgePixelsRepeated) {
    EXPECT_EQ(imageOf(2, 2, {1, 2, 3, 4}).median_3(0), 2);
    EXPECT_EQ(imageOf(3, 3, {9, 1, 8, 2, 7, 3, 6, 4, 5}).median_3(4), 5);
    // Comparisons with NaN are false, so that it stays where it is and parts the pixels beside it.
    EXPECT_EQ(imageOf(3, 3, {9, 8, 7, 6, nan, 5, 4, 3, 2}).median_3(4), 6);
    EXPECT_THAT(imageOf(3, 3, {1, 2, 3, 4, nan, 5, 6, 7, 8}).median_3(4), IsNan());

    std::mt19937 random(5);
    for (int round = 0; round < 500; ++round) {
        AICImage image = hostileImage(3, 3, random);
        std::ranges::replace_if(
            image.pixels(), [](float pixel) { return std::isnan(pixel); }, 1.0f);
        const float median = image.median_3(4);
        std::ranges::sort(image.pixels());
        ASSERT_EQ(median, image.pixels()[4]);
    }
}

} // namespace
