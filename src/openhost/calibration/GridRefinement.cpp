#include "calibration/GridRefinement.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"
#include "base/Resources.h"
#include "calibration/AdaptiveSettings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <set>

namespace ombrel {

namespace {

constexpr std::size_t mostCells = 99;
constexpr std::size_t fineCells = 16;     // so many on each axis are hardly worse than more
constexpr std::size_t mostSampled = 4096; // pixels
constexpr std::size_t sampledValues = 4'000'000;
constexpr double farFromLevel = 3; // pixels beyond this factor are not sampled
constexpr std::size_t mostTerms = 60;
constexpr double sameError = 1.02;        // a higher degree must predict better by this factor
constexpr double spacingResidual = 1.037; // at which auto stops dividing
constexpr double clearlyLess = 0.98;      // than the residual of the measured grid
// A flat field has counts of many frames, so that its own noise adds little to a frame's.
constexpr double countsOverFrame = 100;

std::string formatted(const char* format, auto... values) {
    char text[400];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

// Pixels spread over the image without the period of its rows: the golden ratio, modulo 1.
std::vector<std::size_t> spreadPixels(std::size_t count, std::size_t wanted) {
    std::set<std::size_t> spread;
    for (std::size_t i = 0; i < wanted; ++i) {
        const double part = std::fmod(static_cast<double>(i) * 0.6180339887498949, 1.0);
        spread.insert(static_cast<std::size_t>(part * static_cast<double>(count)));
    }
    return {spread.begin(), spread.end()};
}

double bytesOfFlat(const AdaptiveHeapPlan& plan, const SearchCost& cost) {
    return cost.images() * sizeof(float) * plan.flats.width() * plan.flats.height();
}

void refuseIfInterrupted() {
    if (Interrupt::requested())
        throw Error("interrupted; nothing was written");
}

} // namespace

std::optional<std::array<std::size_t, 3>> parseCells(const std::string& text) {
    if (text == "auto")
        return std::nullopt;
    std::vector<std::size_t> numbers;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('x', begin), text.size());
        const auto number = readNumber<zt::u32>(text.substr(begin, end - begin));
        numbers.push_back(number.value_or(0));
        begin = end + 1;
    }
    const auto isCount = [](std::size_t number) { return 1 <= number && number <= mostCells; };
    if ((numbers.size() != 1 && numbers.size() != 3) || !std::ranges::all_of(numbers, isCount))
        throw UsageError("--refine " + text +
                         ": write auto, N or NxMxK, the cells on the axes of V, T and E (1 to " +
                         std::to_string(mostCells) + ")");
    numbers.resize(3, numbers.front());
    return std::array<std::size_t, 3>{numbers[0], numbers[1], numbers[2]};
}

GridRefinement::GridRefinement(const AdaptiveHeapPlan& heapPlan, const RefineOptions& refineOptions,
                               const std::function<void()>& advanced)
    : plan(heapPlan), options(refineOptions) {
    const auto &v = plan.grid.v(), &t = plan.grid.t(), &e = plan.grid.e();
    for (std::size_t i = 0; i < plan.grid.points().size(); ++i)
        if (const auto taken = plan.grid.points()[i]) {
            points.push_back({v[i / (t.size() * e.size())], t[i / e.size() % t.size()], e[i % e.size()]});
            rows.push_back(*taken);
        }
    sample(advanced);
    choosePolynomial();
    metric.emplace(*polynomial, *fit, logs, frameVariance);
    const double surfaceError = meanOf(errors.atPoint) / frameVariance;
    spacing.emplace(*metric, plan.grid, points, surfaceError);
    refuseUnlessBetter();
}

void GridRefinement::sample(const std::function<void()>& advanced) {
    const std::size_t wanted = std::clamp<std::size_t>(sampledValues / points.size(), 256, mostSampled);
    const auto pixels = spreadPixels(std::size_t{plan.flats.width()} * plan.flats.height(), wanted);
    std::vector<std::vector<double>> values; // of the flat fields, relative to their levels
    std::vector<bool> isGood(pixels.size(), true);
    for (const std::size_t row : rows) {
        refuseIfInterrupted();
        const GridFlat flat = plan.flats.read(row);
        const double level = meanOf(flat.ofAll);
        counts.push_back(level * flat.frames);
        values.emplace_back();
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const double value = flat.ofAll[pixels[i]] / level;
            isGood[i] = isGood[i] && value * farFromLevel >= 1 && value <= farFromLevel;
            values.back().push_back(value);
        }
        advanced();
    }
    logs.pixels = static_cast<std::size_t>(std::ranges::count(isGood, true));
    if (logs.pixels < 16)
        throw Error("--refine: hardly any pixel counts in all flat fields; look at them with ombrel info");
    for (std::size_t point = 0; point < points.size(); ++point) {
        double variance = 0;
        for (std::size_t i = 0; i < pixels.size(); ++i)
            if (isGood[i]) {
                logs.values.push_back(std::log(values[point][i]));
                variance += 1 / (values[point][i] * counts[point]);
            }
        logs.noise.push_back(variance / static_cast<double>(logs.pixels));
    }
    meanNoise = meanOf(logs.noise);
    const double meanCounts = meanOf(counts);
    frameVariance = meanNoise * meanCounts / countsOfFrames();
}

double GridRefinement::countsOfFrames() const {
    return options.frameCounts.value_or(meanOf(counts) / countsOverFrame);
}

void GridRefinement::choosePolynomial() {
    nearest = nearestError(logs);
    std::size_t before = 0;
    for (int degree = 1;; ++degree) {
        const GridPolynomial tried(plan.grid, degree);
        if (tried.size() == before || tried.size() >= points.size() || tried.size() > mostTerms)
            break;
        const auto triedFit = GridFit::of(tried, points);
        if (!triedFit)
            break; // nor is one of a higher degree determined
        before = tried.size();
        SurfaceErrors triedErrors = surfaceErrors(*triedFit, tried, points, logs);
        if (polynomial && std::sqrt(triedErrors.leftOut) * sameError > std::sqrt(errors.leftOut))
            continue;
        polynomial = tried;
        fit = triedFit;
        errors = std::move(triedErrors);
    }
    if (!polynomial || before < 2)
        throw Error("--refine: " + countText(points.size(), "flat field") +
                    " cannot be checked against a surface; measure at least three values on one axis");
}

void GridRefinement::refuseUnlessBetter() const {
    const double after = std::sqrt(errors.leftOut / meanNoise);
    const double before = std::sqrt(nearest / meanNoise);
    if (after >= before)
        throw Error(
            formatted("--refine: a flat field that is left out is predicted within %.1f times its photon "
                      "noise by the surface and within %.1f by its nearest neighbour, so that a refined "
                      "grid would be no better; measure more values on each axis, or calibrate without it",
                      after, before));
    const double measured = spacing->expected().mean;
    const double finest = spacing->expected(spacing->divided({fineCells, fineCells, fineCells})).mean;
    if (finest > clearlyLess * measured)
        throw Error(
            formatted("--refine: frames between the measured points are left with %.3f times photon "
                      "statistics, with a refined grid with %.3f, which is not worth its time; calibrate "
                      "without it, or give the counts of the frames by --frame-counts",
                      measured, finest));
}

std::size_t GridRefinement::mostPoints(const SearchCost& cost) const {
    double most = static_cast<double>(availableMemory()) / 2 / bytesOfFlat(plan, cost);
    if (options.timePerFrame)
        most = std::min(most, cost.mostFlatFields(*options.timePerFrame / 1000));
    return static_cast<std::size_t>(most);
}

void GridRefinement::choose(const SearchCost& cost, std::optional<int> search) {
    const auto cells = parseCells(options.cells);
    const std::size_t most = mostPoints(cost);
    refined = cells ? spacing->divided(*cells) : spacing->chosen(spacingResidual, most);
    other = cells ? std::nullopt : spacing->forLookAround();
    if (search == lookAroundSearch && !other)
        throw Error(
            "--refine " + options.cells +
            ": no grid for the look-around search; it takes auto, and two or more values on each axis");
    const bool fits = other && other->tried <= most;
    const bool isBetter =
        refined.isLimited && fits && spacing->expected(*other).mean < spacing->expected(refined).mean;
    if (search == lookAroundSearch || (isBetter && !search))
        std::swap(refined, *other);
    if (refined.tried > most)
        throw Error("--refine " + options.cells + ": searches " + countText(refined.tried, "flat field") +
                    ", and memory or --time-per-frame allow " + std::to_string(most) +
                    "; allow more, ask for fewer cells, or for auto");
}

std::string GridRefinement::surfaceText() const {
    return formatted(
        "surface of degree %d in V, T and E, %zu terms through %zu flat fields: a flat field that is left "
        "out is predicted within %.1f times its photon noise (by its nearest neighbour within %.1f)\n",
        polynomial->degree(), polynomial->size(), points.size(), std::sqrt(errors.leftOut / meanNoise),
        std::sqrt(nearest / meanNoise));
}

std::string GridRefinement::gridText(const RefinedGrid& grid, const SearchCost& cost) const {
    const auto& [v, t, e] = grid.values;
    const double bytes = bytesOfFlat(plan, cost) * static_cast<double>(grid.candidates.size());
    const ExpectedResidual residual = spacing->expected(grid);
    return formatted("%-12s  %2zu x %2zu x %2zu%s  %5zu  %6zu  %9s  %8.1f  %8.2f  %5.2f",
                     grid.isForLookAround ? "look-around" : "linear", v, t, e,
                     grid.isForLookAround ? "           " : " + measured", grid.candidates.size(), grid.tried,
                     bytesText(bytes).c_str(), 1000 * cost.seconds(grid.tried), residual.mean,
                     residual.worst);
}

std::string GridRefinement::gridsText(const SearchCost& cost) const {
    const ExpectedResidual measured = spacing->expected();
    return formatted(
               "\nRefined grids, and what frames of %.0f counts all over the grid can expect (from the "
               "measured "
               "points alone: residual %.2f, worst %.2f):\n"
               "search        grid                     flats   tried     memory  ms/frame  residual  worst\n",
               countsOfFrames(), measured.mean, measured.worst) +
           gridText(refined, cost) + "  <- chosen\n" + (other ? gridText(*other, cost) + "\n" : "");
}

CalibrationGrid GridRefinement::grid() const {
    const std::set<GridPoint> known(refined.written.begin(), refined.written.end());
    std::array<std::set<float>, 3> values;
    for (const GridPoint& point : known) {
        values[0].insert(point.v);
        values[1].insert(point.t);
        values[2].insert(point.e);
    }
    std::vector<GridPoint> holes;
    for (const float v : values[0])
        for (const float t : values[1])
            for (const float e : values[2])
                if (!known.contains({v, t, e}))
                    holes.push_back({v, t, e});
    return {refined.written, holes};
}

void GridRefinement::fitAllPixels(const std::function<void()>& advanced) {
    surfaces.emplace(*polynomial, std::size_t{plan.flats.width()} * plan.flats.height());
    for (std::size_t point = 0; point < points.size(); ++point) {
        refuseIfInterrupted();
        surfaces->add(*fit, point, plan.flats.read(rows[point]).ofAll);
        advanced();
    }
}

std::vector<FramePtr> GridRefinement::exampleFrames() const {
    constexpr std::size_t frameCount = 8;
    std::mt19937 random; // the same frames each time
    std::vector<FramePtr> frames;
    for (const GridPoint& setting : spacing->settings().first(frameCount)) {
        FramePtr frame = Frame::createUnfilled(plan.flats.width(), plan.flats.height(), zt::DT_DOUBLE);
        std::ranges::transform(surfaces->at(setting, true), frame->pixels<double>().begin(), [&](float flat) {
            return std::poisson_distribution<zt::u64>(std::max(flat * countsOfFrames(), 1e-9))(random);
        });
        frames.push_back(std::move(frame));
    }
    return frames;
}

// A prediction has the noise of the flat fields, weighted as the fit weights them, and the error of the
// surface itself.
double GridRefinement::framesAt(const GridPoint& point) const {
    const auto terms = polynomial->at(point);
    double variance = errors.model;
    for (std::size_t k = 0; k < points.size(); ++k) {
        double weight = 0;
        for (std::size_t term = 0; term < terms.size(); ++term)
            weight += terms[term] * fit->weight(term, k);
        variance += weight * weight / counts[k];
    }
    return 1 / (variance * surfaces->levelAt(point));
}

GridPointFacts GridRefinement::write(CalibrationHeap& heap, const GridPoint& point) const {
    const auto known = std::ranges::find(points, point);
    const auto index = static_cast<std::size_t>(known - points.begin());
    // Where the surface is off by more than the flat field's own noise, the flat field itself is better.
    if (known == points.end() || errors.atPoint[index] < logs.noise[index]) {
        heap.append(surfaces->at(point, plan.normalise));
        return {plan.normalise ? surfaces->levelAt(point) : 1, framesAt(point)};
    }
    const GridFlat flat = plan.flats.read(rows[index]);
    heap.append(imageOf(flat.ofAll, plan.normalise));
    return {divisorOf(flat.ofAll, plan.normalise), static_cast<double>(flat.frames)};
}

std::vector<GridPointFacts> GridRefinement::write(CalibrationHeap& heap,
                                                  const std::function<void()>& advanced) const {
    std::vector<GridPointFacts> written;
    for (const GridPoint& point : refined.written) {
        refuseIfInterrupted();
        written.push_back(write(heap, point));
        advanced();
    }
    std::vector<GridPointFacts> facts;
    const CalibrationGrid finer = grid();
    for (const auto& taken : finer.points())
        facts.push_back(taken ? written[*taken] : GridPointFacts{notANumber, 0});
    return facts;
}

} // namespace ombrel
