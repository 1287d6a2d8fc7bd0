// Surfaces through flat fields, the grids that are made from them, and the parts of grids that are tried.
#include "calibration/GridRefinement.h"

#include "base/Error.h"
#include "calibration/AdaptiveReport.h"
#include "calibration/CountRateCalibration.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "fixtures/Testing.h"
#include "simulation/Scene.h"

#include <fstream>
#include <numeric>
#include <set>

namespace {

using namespace ombrel;

std::vector<GridPoint> pointsOfGrid(std::span<const float> v, std::span<const float> t,
                                    std::span<const float> e) {
    std::vector<GridPoint> points;
    for (const float atV : v)
        for (const float atT : t)
            for (const float atE : e)
                points.push_back({atV, atT, atE});
    return points;
}

// Logarithms of a detector whose pattern follows V linearly, T squared and not E, with a little noise.
struct Measured {
    static constexpr double noise = 1e-4;
    const std::vector<float> v{100, 150, 200}, t{1, 2, 3}, e{7, 8};
    const std::vector<GridPoint> points = pointsOfGrid(v, t, e);
    const CalibrationGrid grid{points, {}};
    SampledLogs logs{1000, {}, {}};

    Measured() {
        simulation::Random random(3);
        std::vector<double> alongV(logs.pixels), alongT(logs.pixels);
        for (std::size_t i = 0; i < logs.pixels; ++i) {
            alongV[i] = 0.02 * random.gaussian();
            alongT[i] = 0.02 * random.gaussian();
        }
        for (const GridPoint& point : points) {
            for (std::size_t i = 0; i < logs.pixels; ++i)
                logs.values.push_back(alongV[i] * (point.v - 150) / 50 +
                                      alongT[i] * (point.t - 2) * (point.t - 2) + noise * random.gaussian());
            logs.noise.push_back(noise * noise);
        }
    }
};

TEST(GridSurface, PredictsAPointThatIsLeftOutAsAFitWithoutItDoes) {
    const Measured measured;
    const GridPolynomial polynomial(measured.grid, 2);
    EXPECT_EQ(polynomial.size(), 9u); // 1 v v2 t t2 e vt ve te: two values of E have no square
    const GridFit fit = *GridFit::of(polynomial, measured.points);
    const auto errors = surfaceErrors(fit, polynomial, measured.points, measured.logs);
    double leftOut = 0;
    for (std::size_t out = 0; out < measured.points.size(); ++out) {
        std::vector<GridPoint> others = measured.points;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(out));
        const GridFit without = *GridFit::of(polynomial, others);
        const auto terms = polynomial.at(measured.points[out]);
        for (std::size_t i = 0; i < measured.logs.pixels; ++i) {
            double error = measured.logs.row(out)[i];
            for (std::size_t term = 0; term < terms.size(); ++term)
                for (std::size_t k = 0; k < others.size(); ++k)
                    error -=
                        terms[term] * without.weight(term, k) * measured.logs.row(k < out ? k : k + 1)[i];
            leftOut += error * error;
        }
    }
    leftOut /= static_cast<double>(measured.points.size() * measured.logs.pixels);
    EXPECT_NEAR(errors.leftOut / leftOut, 1, 1e-6);
    EXPECT_LT(std::sqrt(errors.leftOut), 3 * Measured::noise);
    const GridPolynomial straight(measured.grid, 1); // no square of T
    const auto more =
        surfaceErrors(*GridFit::of(straight, measured.points), straight, measured.points, measured.logs);
    EXPECT_GT(std::sqrt(more.leftOut), 50 * Measured::noise);
    EXPECT_GT(std::sqrt(more.model), 30 * Measured::noise);
    EXPECT_LT(std::sqrt(errors.model), 0.3 * Measured::noise); // the noise in the fit is not the model's
    EXPECT_NEAR(std::sqrt(nearestError(measured.logs)), std::sqrt(2) * Measured::noise,
                2e-5); // its neighbour on E
    EXPECT_FALSE(GridFit::of(polynomial, std::span(measured.points).first(6)));
}

TEST(GridSpacing, DividesEachAxisByWhatItChanges) {
    const Measured measured;
    const GridPolynomial polynomial(measured.grid, 2);
    const GridFit fit = *GridFit::of(polynomial, measured.points);
    const GridMetric metric(polynomial, fit, measured.logs, 0.005 * 0.005);
    const auto one = metric.placeOf({100, 2, 7}), other = metric.placeOf({150, 2, 7});
    double squares = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        squares += (one[i] - other[i]) * (one[i] - other[i]);
    EXPECT_NEAR(std::sqrt(squares), 4, 0.15); // 0.02 of 0.005

    const GridSpacing spacing(metric, measured.grid, measured.points, 0);
    const RefinedGrid chosen = spacing.chosen(1.05, 10'000);
    EXPECT_EQ(chosen.values[2], 1u);
    EXPECT_NEAR(static_cast<double>(chosen.values[0]), static_cast<double>(chosen.values[1]), 2); // T turns
    EXPECT_LE(spacing.expected(chosen).mean, 1.05);
    EXPECT_EQ(chosen.tried, chosen.values[0] * chosen.values[1] + measured.points.size());
    for (const std::size_t axis : {0, 1}) { // no fewer would do
        auto fewer = chosen.values;
        --fewer[axis];
        EXPECT_GT(spacing.expected(spacing.divided(fewer)).mean, 1.05);
    }
    EXPECT_TRUE(std::ranges::is_sorted(chosen.written));
    EXPECT_FALSE(chosen.isLimited);
    EXPECT_LE(spacing.chosen(1.0, 60).tried, 60u);
    EXPECT_TRUE(spacing.chosen(1.0, 60).isLimited);
    EXPECT_GT(spacing.expected().mean, 1.5);
    // The change with T is slow in its middle, so the cells are wide there.
    const RefinedGrid cells = spacing.divided({1, 4, 1});
    std::set<float> middles;
    for (const GridPoint& point : cells.written)
        if (std::abs(point.v - 150) < 1 && point.t != 2)
            middles.insert(point.t);
    const std::vector<float> t(middles.begin(), middles.end());
    ASSERT_EQ(t.size(), 6u); // among them the measured 1 and 3
    EXPECT_GT(t[3] - t[2], 1.5f * (t[2] - t[1]));
}

TEST(GridSpacing, BeginsTheAxisOfEBeforeTheRangeForTheLookAroundSearch) {
    Measured measured;
    for (std::size_t point = 0; point < measured.points.size(); ++point) // now E counts, too
        for (std::size_t i = 0; i < measured.logs.pixels; ++i)
            measured.logs.values[point * measured.logs.pixels + i] +=
                measured.points[point].e * (i % 2 == 0 ? 0.02 : -0.02);
    const GridPolynomial polynomial(measured.grid, 2);
    const GridFit fit = *GridFit::of(polynomial, measured.points);
    const GridMetric metric(polynomial, fit, measured.logs, 0.005 * 0.005);
    const auto grid = GridSpacing(metric, measured.grid, measured.points, 0).forLookAround();
    ASSERT_TRUE(grid);
    EXPECT_EQ(grid->written.size(), 125u);
    EXPECT_EQ(grid->candidates.size(), 729u);
    EXPECT_EQ(grid->tried, 371u); // every second one, and six neighbours
    EXPECT_NEAR(grid->candidates[0].e, 7 - 1.0 / 7, 0.01);
    EXPECT_NEAR(grid->candidates[1].e, 7, 0.01); // a midpoint
    EXPECT_FLOAT_EQ(grid->candidates[8].e, 8);
}

TEST(GridRefinement, ReadsTheNumbersOfCells) {
    EXPECT_FALSE(parseCells("auto"));
    EXPECT_THAT(*parseCells("7"), ElementsAre(7, 7, 7));
    EXPECT_THAT(*parseCells("3x1x12"), ElementsAre(3, 1, 12));
    for (const char* text : {"", "x", "0", "2x3", "1x2x3x4", "2x-1x3", "100", "aut"})
        EXPECT_THAT(errorOf([&] { parseCells(text); }), HasSubstr("write auto, N or NxMxK")) << text;
}

// The powers of a high degree are no longer independent within the digits of a double.
TEST(GridRefinement, StopsAtTheDegreeThatLongAxesDetermine) {
    const TemporaryFolder folder;
    constexpr int count = 20;
    constexpr std::size_t pixels = 32 * 32;
    simulation::Random random(5);
    ImageStack<zt::u16> flats{32, 32, {}};
    std::string table = "v,t,e,file,page\n";
    std::vector<GridPoint> points;
    for (int k = 0; k < count; ++k) {
        const double e = k / (count - 1.0);
        points.push_back({1, 1, static_cast<float>(e)});
        table += "1,1," + std::to_string(points.back().e) + ",flats.tif," + std::to_string(k) + "\n";
        for (std::size_t i = 0; i < pixels; ++i) {
            const double mean = 40'000 * std::exp((i % 2 == 0 ? 0.3 : -0.3) * e * e);
            flats.pixels.push_back(static_cast<zt::u16>(mean + std::sqrt(mean) * random.gaussian()));
        }
    }
    writeTiff(folder / "flats.tif", flats);
    std::ofstream(folder / "grid.csv") << table;
    const CalibrationGrid grid(points, {});
    const CalibrationGridFlats read(folder / "grid.csv", readGridTable(folder / "grid.csv"));
    const AdaptiveHeapPlan plan{grid, read, {}};
    RefineOptions options{.cells = "auto", .timePerFrame = {}, .frameCounts = 1e6};
    GridRefinement refinement(plan, options, [] {});
    EXPECT_THAT(refinement.surfaceText(), HasSubstr("terms through 20 flat fields"));
}

TEST(TrialGrid, KeepsNeighboursAtBothEndsAndInTheMiddle) {
    std::vector<float> many(13);
    std::iota(many.begin(), many.end(), 0.0f);
    const std::vector<float> two{1, 2};
    const CalibrationGrid large(pointsOfGrid(many, many, two), {});
    const TrialGrid tried = trialGridOf(large);
    EXPECT_THAT(tried.grid.v(), ElementsAre(0, 1, 6, 7, 11, 12));
    EXPECT_THAT(tried.grid.e(), ElementsAre(1, 2));
    EXPECT_EQ(std::ranges::count(tried.isKept, true), 72);
    const CalibrationGrid small(pointsOfGrid(two, many, two), {});
    EXPECT_EQ(trialGridOf(small).grid.points(), small.points());

    // The limits of Clopper and Pearson: 0.05^(1/27), and from a table of the F distribution.
    EXPECT_NEAR(leastShare(27, 27), 0.895, 0.001);
    EXPECT_NEAR(leastShare(9, 10), 0.606, 0.001);
    EXPECT_EQ(leastShare(0, 5), 0);
}

TEST(CountRate, PutsMasksBetweenTheMeasuredFluxes) {
    const std::vector<double> measured{8, 4, 2, 1, 0.5};
    const auto fluxes = maskFluxes(measured);
    EXPECT_TRUE(std::ranges::is_sorted(fluxes, std::greater()));
    for (std::size_t i = 1; i < fluxes.size(); ++i)
        EXPECT_LE(fluxes[i - 1] / fluxes[i], 1.05 + 1e-9);
    for (const double flux : measured)
        EXPECT_THAT(fluxes, ::testing::Contains(::testing::DoubleEq(flux)));

    const auto cubic = [](double flux) { return 1 + std::log(flux) - 0.1 * std::pow(std::log(flux), 3); };
    for (const double flux : {7.0, 3.0, 2.0, 0.6}) {
        const auto factors = interpolationFactors(measured, flux);
        double sum = 0;
        for (std::size_t k = 0; k < measured.size(); ++k)
            sum += factors[k] * cubic(measured[k]);
        EXPECT_NEAR(sum, cubic(flux), 1e-12);
        EXPECT_EQ(std::ranges::count(factors, 0.0), flux == 2 ? 4 : 1);
    }
}

} // namespace
