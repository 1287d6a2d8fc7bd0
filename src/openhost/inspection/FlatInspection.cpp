#include "inspection/FlatInspection.h"

#include "base/Numbers.h"
#include "base/OrderedPipeline.h"
#include "base/Resources.h"
#include "frame/PixelType.h"
#include "inspection/FieldDrift.h"
#include "inspection/FrameTiles.h"
#include "inspection/SinglePixels.h"
#include "inspection/TileStructure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

namespace ombrel {

std::string_view verdictName(Verdict verdict) {
    constexpr std::array<std::string_view, 7> names{"good",      "dark",      "level",     "structure",
                                                    "saturated", "duplicate", "not finite"};
    return names[static_cast<std::size_t>(verdict)];
}

std::size_t InspectionReport::goodCount() const {
    return static_cast<std::size_t>(std::ranges::count(fields, Verdict::Good, &FieldVerdict::verdict));
}

namespace {

constexpr std::size_t leastForStructure = 4;

// Reads the frames of a set, and keeps as many as fit into a quarter of the free memory.
class FieldCache final : public FieldSource {
public:
    explicit FieldCache(const FieldSet& fieldSet)
        : set(fieldSet), kept(fieldSet.places.size()), room(availableMemory() / 4) {}

    FramePtr read(std::size_t field) const { return set.read(field); }

    void keep(std::size_t field, FramePtr frame) {
        const zt::u64 bytes = frame->bytes().size();
        if (bytes > room)
            return;
        room -= bytes;
        kept[field] = std::move(frame);
    }

    void with(std::size_t field, const std::function<void(const Frame& frame)>& work) override {
        if (kept[field])
            return work(*kept[field]);
        work(*set.read(field));
    }

private:
    const FieldSet& set;
    std::vector<FramePtr> kept;
    zt::u64 room;
};

struct Measured {
    std::vector<TileFigures> figures;
    std::vector<zt::u8> pixelTypes;
    std::vector<FieldThumbnail> thumbnails;
    std::vector<double> times; // seconds; 0 if unknown
};

FieldThumbnail thumbnailOf(const Frame& frame) {
    constexpr zt::u32 longestSide = 128;
    const zt::u32 step = (std::max(frame.width(), frame.height()) + longestSide - 1) / longestSide;
    const zt::u32 width = (frame.width() + step - 1) / step;
    const zt::u32 height = (frame.height() + step - 1) / step;
    FieldThumbnail thumbnail{width, std::vector<double>(std::size_t{width} * height)};
    std::vector<double> counts(thumbnail.pixels.size());
    withPixelType(frame.frameDataType(), [&](auto type) {
        const auto pixels = frame.pixels<decltype(type)>();
        for (zt::u32 y = 0; y < frame.height(); ++y)
            for (zt::u32 x = 0; x < frame.width(); ++x) {
                const auto pixel = pixels[std::size_t{y} * frame.width() + x];
                if (!isCounted(pixel))
                    continue;
                const std::size_t at = std::size_t{y / step} * width + x / step;
                thumbnail.pixels[at] += static_cast<double>(pixel);
                counts[at] += 1;
            }
    });
    // 0 / 0 is NaN.
    std::ranges::transform(thumbnail.pixels, counts, thumbnail.pixels.begin(), std::divides());
    return thumbnail;
}

// Reading overlaps with the sums over the pixels.
Measured measure(const FieldSet& set, const TileGrid& grid, const InspectionLimits& limits,
                 FieldCache& cache) {
    struct Item {
        std::size_t field = 0;
        FramePtr frame;
        TileFigures figures;
        FieldThumbnail thumbnail;
    };
    constexpr std::size_t workers = 2;
    const std::size_t count = set.places.size();
    Measured measured{std::vector<TileFigures>(count), std::vector<zt::u8>(count),
                      std::vector<FieldThumbnail>(count), std::vector<double>(count)};
    std::size_t next = 0;
    OrderedPipeline<Item>::run({.begin =
                                    [&](Item& item) {
                                        item.field = next;
                                        return next++ < count;
                                    },
                                .make = [&](Item& item) { item.frame = cache.read(item.field); },
                                .work =
                                    [&](std::size_t, Item& item) {
                                        item.figures = tileFiguresOf(*item.frame, grid, limits.saturation);
                                        if (set.wantsThumbnails)
                                            item.thumbnail = thumbnailOf(*item.frame);
                                    },
                                .deliver =
                                    [&](Item& item) {
                                        measured.figures[item.field] = std::move(item.figures);
                                        measured.thumbnails[item.field] = std::move(item.thumbnail);
                                        measured.pixelTypes[item.field] = item.frame->frameDataType();
                                        measured.times[item.field] = item.frame->acqTime();
                                        cache.keep(item.field, std::move(item.frame));
                                    }},
                               {1, workers, workers + 2});
    return measured;
}

// The levels that are compared: per acquisition time, scaled to the median time, if all frames have one.
std::vector<double> levelsOf(const Measured& measured) {
    const bool haveTimes = std::ranges::all_of(measured.times, [](double time) { return time > 0; });
    const double usual = haveTimes ? medianOfCopy(measured.times) : 1;
    std::vector<double> levels;
    for (std::size_t k = 0; k < measured.figures.size(); ++k)
        levels.push_back(measured.figures[k].level * (haveTimes ? usual / measured.times[k] : 1));
    return levels;
}

std::vector<double> withoutNaN(std::vector<double> values) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    return values;
}

std::string percentText(double part) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %%", 100 * part);
    return text;
}

// Judges the frames one after the other, by all but their structure.
class FieldJudge {
public:
    FieldJudge(const FieldSet& fieldSet, const InspectionLimits& inspectionLimits, const Measured& all)
        : set(fieldSet), limits(inspectionLimits), measured(all), levels(levelsOf(all)),
          // Of two frames the brighter one, since a dark frame is the more frequent fault.
          median(medianOfCopy(withoutNaN(levels))) {
        std::vector<double> distances = withoutNaN(levels);
        for (double& level : distances)
            level = std::abs(level - median);
        std::vector<zt::u64> notFinite;
        for (const TileFigures& figures : all.figures)
            notFinite.push_back(figures.notFinite);
        spread = madToSigma * medianOf(distances);
        std::ranges::nth_element(notFinite, notFinite.begin() + notFinite.size() / 2);
        usualNotFinite = notFinite[notFinite.size() / 2];
    }

    double medianLevel() const { return median; }

    FieldVerdict judge(std::size_t field) {
        const TileFigures& figures = measured.figures[field];
        FieldVerdict result{.place = set.places[field],
                            .level = figures.level,
                            .relativeLevel = levels[field] / median,
                            .zero = figures.zero,
                            .saturated = figures.saturated,
                            .notFinite = figures.notFinite,
                            .structure = std::nullopt,
                            .worstTile = {},
                            .reason = {},
                            .thumbnail = {}};
        judge(field, figures, result);
        return result;
    }

private:
    void judge(std::size_t field, const TileFigures& figures, FieldVerdict& result) {
        const auto fail = [&](Verdict verdict, const std::string& text) {
            result.verdict = verdict;
            result.reason = std::string(verdictName(verdict)) + ", " + text;
        };
        const bool isLargeSet = set.places.size() >= leastForStructure;
        const double pixels = static_cast<double>(set.width) * set.height;
        const double saturated = static_cast<double>(figures.saturated) / pixels;
        const auto earlier = hashes.emplace(figures.hash, field).first->second;
        if (std::isnan(figures.level) || (isLargeSet && figures.notFinite > usualNotFinite))
            fail(Verdict::NotFinite, countText(figures.notFinite, "pixel"));
        else if (!set.areDarks && (figures.level <= 0 || result.relativeLevel < limits.dark / 100))
            fail(Verdict::Dark, ofMedian(result.relativeLevel));
        else if (isLargeSet && saturated > limits.saturated / 100)
            fail(Verdict::Saturated, percentText(saturated) + " of the pixels");
        else if (earlier != field && !(set.areDarks && figures.zero == pixels))
            fail(Verdict::Duplicate, "the same pixels as " + set.places[earlier].text());
        else if (std::abs(levels[field] - median) > levelTolerance())
            fail(Verdict::Level, ofMedian(result.relativeLevel));
    }

    std::string ofMedian(double relativeLevel) const {
        const std::string what = set.areDarks ? "median level of the dark fields" : "median level";
        return median > 0 ? percentText(relativeLevel) + " of the " + what
                          : "the " + what + " is not above 0";
    }

    // The level of darks may be close to 0: their scatter and the statistics of single counts matter, too.
    double levelTolerance() const {
        const double tolerance = std::abs(median) * limits.level / 100;
        if (!set.areDarks)
            return tolerance;
        const double pixels = static_cast<double>(set.width) * set.height;
        return std::max({tolerance, 8 * spread, 6 * std::sqrt(std::max(median, 1.0) / pixels)});
    }

    const FieldSet& set;
    const InspectionLimits& limits;
    const Measured& measured;
    std::vector<double> levels;
    double median;
    double spread = 0; // of the levels
    zt::u64 usualNotFinite = 0;
    std::map<zt::u64, std::size_t> hashes; // of the first frame with those pixels
};

TileStructure structureOf(const TileGrid& grid, Measured& measured, const InspectionReport& report,
                          const InspectionLimits& limits) {
    TileTable table;
    TileStructure::Plan plan{.candidates = {}, .sigmaLimit = limits.structure};
    for (std::size_t k = 0; k < report.fields.size(); ++k) {
        table.push_back(std::move(measured.figures[k].sums));
        plan.candidates.push_back(report.fields[k].verdict == Verdict::Good);
        plan.photons = plan.photons && measured.pixelTypes[k] < zt::DT_FLOAT;
    }
    return {grid, std::move(table), std::move(plan)};
}

std::string structureText(const TileDeviation& deviation, const Region& tile) {
    char text[96];
    std::snprintf(text, sizeof text, "structure, %.*f sigma near x %u y %u",
                  std::abs(deviation.sigma) < 10 ? 1 : 0, std::abs(deviation.sigma), tile.x + tile.width / 2,
                  tile.y + tile.height / 2);
    return text;
}

void judgeStructure(const TileStructure& structure, FieldCache& cache, InspectionReport& report) {
    report.unjudged = structure.obstacle();
    if (!report.unjudged.empty())
        return;
    report.noise = structure.noise();
    report.structureLimit = structure.limit();
    std::vector<std::size_t> suspects;
    for (std::size_t k = 0; k < report.fields.size(); ++k) {
        FieldVerdict& field = report.fields[k];
        if (field.verdict != Verdict::Good)
            continue;
        field.structure = structure.worst(k).sigma;
        field.worstTile = structure.grid().region(structure.worst(k).tile);
        if (structure.deviates(k))
            suspects.push_back(k);
    }
    const auto confirmed = withoutSinglePixels(structure, suspects, cache);
    for (std::size_t i = 0; i < suspects.size(); ++i) {
        if (!confirmed[i])
            continue;
        FieldVerdict& field = report.fields[suspects[i]];
        field.structure = confirmed[i]->sigma;
        field.worstTile = structure.grid().region(confirmed[i]->tile);
        field.verdict = Verdict::Structure;
        field.reason = structureText(*confirmed[i], field.worstTile);
    }
}

} // namespace

InspectionReport inspectFields(const FieldSet& set, const InspectionLimits& limits) {
    InspectionReport report{.name = set.name,
                            .areDarks = set.areDarks,
                            .width = set.width,
                            .height = set.height,
                            .fields = {},
                            .unjudged = {},
                            .drift = {}};
    const TileGrid grid(set.width, set.height);
    FieldCache cache(set);
    Measured measured = measure(set, grid, limits, cache);
    FieldJudge judge(set, limits, measured);
    report.medianLevel = judge.medianLevel();
    for (std::size_t k = 0; k < set.places.size(); ++k)
        report.fields.push_back(judge.judge(k));
    for (std::size_t k = 0; k < set.places.size(); ++k)
        report.fields[k].thumbnail = std::move(measured.thumbnails[k]);
    const TileStructure structure = structureOf(grid, measured, report, limits);
    judgeStructure(structure, cache, report);
    report.drift = driftOf(report, structure);
    return report;
}

} // namespace ombrel
