#include "calibration/AdaptiveHeaps.h"

#include "base/Error.h"
#include "base/Interrupt.h"
#include "base/Mean.h"

#include <algorithm>
#include <limits>

namespace ombrel {

namespace {

constexpr std::size_t mostTests = 27;

std::vector<float> imageOf(std::span<const double> pixels, bool normalise) {
    const double level = normalise ? meanOf(pixels) : 1;
    std::vector<float> image(pixels.size());
    std::ranges::transform(pixels, image.begin(),
                           [level](double pixel) { return static_cast<float>(pixel / level); });
    return image;
}

} // namespace

std::vector<bool> testPoints(std::size_t count) {
    std::vector<bool> chosen(count, count <= mostTests);
    if (count > mostTests)
        for (std::size_t i = 0; i < mostTests; ++i)
            chosen[(2 * i + 1) * count / (2 * mostTests)] = true;
    return chosen;
}

AdaptiveHeaps::AdaptiveHeaps(const AdaptiveHeapPlan& plan, const AdaptiveHeapPaths& paths,
                             const std::function<void()>& advanced)
    : coarse(coarseGridOf(plan.grid)), whole(paths.whole, plan.grid, plan.settings),
      trial(paths.trial, plan.grid, plan.settings), leastLevel(std::numeric_limits<double>::infinity()) {
    if (coarse)
        coarseHeap.emplace(paths.coarse, coarse->grid, plan.settings);
    const std::vector<bool> isTest = testPoints(plan.flats.rows().size());
    const auto& points = plan.grid.points();
    for (std::size_t i = 0, taken = 0; i < points.size(); ++i) {
        if (!points[i])
            continue;
        if (Interrupt::requested())
            throw Error("interrupted; nothing was written");
        addPoint(plan, i, plan.flats.read(*points[i]), isTest[taken++]);
        advanced();
    }
    trial.commit();
    if (coarseHeap)
        coarseHeap->commit();
}

void AdaptiveHeaps::addPoint(const AdaptiveHeapPlan& plan, std::size_t index, GridFlat flat, bool isTest) {
    const GridRow& row = plan.flats.rows()[*plan.grid.points()[index]];
    const double level = meanOf(flat.ofAll);
    if (!(level > 0) || !(meanOf(flat.ofOthers) > 0))
        throw Error(row.file + ": the flat field's mean is not above 0");
    leastLevel = std::min(leastLevel, level);
    greatestLevel = std::max(greatestLevel, level);
    singles += flat.isTestKeptOut() ? 0 : 1;

    const std::vector<float> image = imageOf(flat.ofAll, plan.normalise);
    whole.append(image);
    trial.append(imageOf(flat.ofOthers, plan.normalise));
    if (coarse && coarse->isKept[index])
        coarseHeap->append(image);
    if (!isTest)
        return;
    const bool isBetween = coarse && coarse->isBetween[index];
    const auto place =
        isBetween ? testFrames.begin() + static_cast<std::ptrdiff_t>(betweenCount++) : testFrames.end();
    testFrames.emplace(place, row.point, std::move(flat), plan.settings.compensationMask,
                       FlatOrigin::WithoutTest);
}

} // namespace ombrel
