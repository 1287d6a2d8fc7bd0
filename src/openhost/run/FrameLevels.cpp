#include "run/FrameLevels.h"

#include "base/CsvTable.h"
#include "base/Error.h"
#include "base/Numbers.h"
#include "run/RunSetup.h"
#include "settings/SettingsFiles.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ombrel {

namespace {

constexpr const char* flatFieldName = "Flat-Field";
constexpr const char* adaptiveName = "AdaptiveFF";
constexpr const char* binningName = "Binning 2x2";
constexpr double pixelsOfBin = 4;
constexpr int mosaicSearch = 2;
constexpr const char* preProcessing = "PPEanbled"; // the parameter of PPEnabled, misspelt by the filter

bool dividesByFlats(const LinkOptions& link) {
    return link.name == flatFieldName || link.name == adaptiveName;
}

std::string optionText(const RunOptions& options) {
    return "--quantity " + options.quantity.quantity;
}

// The link that divides by flat fields. Throws UsageError.
std::size_t dividingLink(const RunOptions& options) {
    const auto& links = options.links;
    for (const LinkOptions& link : links)
        if (!dividesByFlats(link) && link.name != binningName)
            throw UsageError(optionText(options) + ": not with " + link.name +
                             ", whose results are no counts; leave out the filter or the option");
    const auto found = std::ranges::find_if(links, dividesByFlats);
    if (std::ranges::count_if(links, dividesByFlats) != 1 || found->settings.empty())
        throw UsageError(optionText(options) +
                         ": needs exactly one of Flat-Field and AdaptiveFF in the chain, with its settings");
    return static_cast<std::size_t>(found - links.begin());
}

// Facts stand in the order of the links that have settings.
const LinkFacts& factsOfLink(const RunSetup& setup, std::size_t link) {
    const auto& links = setup.options.links;
    const auto before =
        std::ranges::count_if(links.begin(), links.begin() + static_cast<std::ptrdiff_t>(link),
                              [](const LinkOptions& each) { return !each.settings.empty(); });
    return setup.workers.facts[static_cast<std::size_t>(before)];
}

void refuseIfChanged(const LinkFacts& facts) {
    if (facts.groups == FilterGroups::Changed)
        throw Error(facts.settings + ": the filter's settings were changed since the calibration, so that "
                                     "the level of its flat fields no longer applies; calibrate again");
}

double binnedAfter(const std::vector<LinkOptions>& links, std::size_t link) {
    double pixels = 1;
    for (std::size_t i = link + 1; i < links.size(); ++i)
        pixels *= links[i].name == binningName ? pixelsOfBin : 1;
    return pixels;
}

// As a choice holds it: with the six digits of the filter's log.
double withSixDigits(double value) {
    return readNumber<double>(sixDigits(value)).value_or(value);
}

} // namespace

Region parseLevelRegion(const std::string& text) {
    std::vector<zt::u32> numbers;
    for (const std::string& part : splitCsvLine(text).value_or(std::vector<std::string>()))
        if (const auto number = readNumber<zt::u32>(part))
            numbers.push_back(*number);
    if (numbers.size() != 4 || std::ranges::count(text, ',') != 3)
        throw UsageError("--level-region " + text + ": not of the form X,Y,WIDTH,HEIGHT in pixels");
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

FrameLevels::FrameLevels(RunSetup& setup) : quantity(parseQuantity(setup.options.quantity.quantity)) {
    const RunOptions& options = setup.options;
    const std::size_t link = dividingLink(options);
    binned = binnedAfter(options.links, link);
    const bool isAdaptive = options.links[link].name == adaptiveName;
    if (!options.quantity.levelRegion.empty()) {
        region = parseLevelRegion(options.quantity.levelRegion);
        checkRegion(*region, setup.stack.info(0)); // filters keep the size
    }
    if (isAdaptive)
        takeGrid(setup, link);
    else if (!region)
        takeFlatField(setup, link);
}

void FrameLevels::takeFlatField(const RunSetup& setup, std::size_t link) {
    const LinkFacts& facts = factsOfLink(setup, link);
    refuseIfChanged(facts);
    if (!facts.calibration.level)
        throw Error(facts.settings + ": holds no level of its flat fields, which only a calibration from "
                                     "frames stores; calibrate again, or give --level-region");
    level = *facts.calibration.level * binned;
}

void FrameLevels::takeGrid(RunSetup& setup, std::size_t link) {
    const RunOptions& options = setup.options;
    const auto value = [&](const char* name) -> const zt::IParam& {
        return *setup.workers.chains[0].links()[link].filter().parameters()->param(name);
    };
    const std::string start = optionText(options) + ": ";
    if (value(preProcessing).getBool())
        throw UsageError(start + "not with AdaptiveFF's PPEnabled, which changes the values of pixels; "
                                 "calibrate with --set PPEnabled=false");
    if (value("Search").getInt() == mosaicSearch)
        throw UsageError(start + "not with AdaptiveFF's mosaic search, which divides each tile by another "
                                 "flat field; choose another Search");
    if (options.noChoice)
        throw UsageError(start + "not with --no-choice, which leaves open by what a frame was divided");
    if (region)
        return;
    const LinkFacts& facts = factsOfLink(setup, link);
    refuseIfChanged(facts);
    const auto axes = heapAxes(heapPathOf(facts.settings));
    const auto& points = facts.calibration.points;
    if (points.empty() || points.size() != axes[0].size() * axes[1].size() * axes[2].size())
        throw Error(facts.settings + ": does not hold what its flat fields were divided by, which an older "
                                     "calibration does not store; calibrate again, or give --level-region");
    std::size_t i = 0;
    for (const float v : axes[0])
        for (const float t : axes[1])
            for (const float e : axes[2])
                divisors[{withSixDigits(v), withSixDigits(t), withSixDigits(e)}] = points[i++].divisor;
    const auto isWhole = [](const GridPointFacts& point) {
        return point.divisor == 1 || std::isnan(point.divisor); // NaN for a hole
    };
    if (std::ranges::all_of(points, isWhole))
        level = binned;
    else if (value("Interpolation").getInt() != 0)
        throw UsageError(start + "not with AdaptiveFF's Interpolation of flat fields that were divided by "
                                 "their means; calibrate without --normalise");
}

double FrameLevels::levelOf(Frame& corrected, const std::optional<SelectedFlatField>& choice) const {
    if (region)
        return uniformityOf(pixelsOf(corrected, *region)).mean;
    if (level)
        return *level;
    if (!choice)
        throw Error("the flat field that AdaptiveFF chose is not known");
    const auto found = divisors.find({choice->best.v, choice->best.t, choice->best.e});
    if (found == divisors.end())
        throw Error("AdaptiveFF chose a flat field that is not of the calibration's grid");
    return found->second * binned;
}

FrameScale FrameLevels::of(Frame& corrected, const std::optional<SelectedFlatField>& choice) const {
    const double counts = levelOf(corrected, choice);
    if (!(counts > 0) || !std::isfinite(counts))
        throw Error("the mean of the level region is " + numberText(counts) +
                    ", by which nothing can be divided; choose an open area");
    return {quantity, counts};
}

std::optional<FrameLevels> levelsOf(RunSetup& setup) {
    const QuantityOptions& options = setup.options.quantity;
    if (!options.isCounts())
        return FrameLevels(setup);
    if (!options.levelRegion.empty())
        throw UsageError("--level-region goes with --quantity transmission or attenuation");
    return std::nullopt;
}

std::optional<double> knownLevel(RunSetup& setup) {
    if (setup.levels)
        return setup.levels->ofAll();
    const auto& links = setup.options.links;
    const auto found = std::ranges::find_if(links, dividesByFlats);
    const auto isKnown = [](const LinkOptions& link) {
        return dividesByFlats(link) || link.name == binningName;
    };
    if (std::ranges::count_if(links, dividesByFlats) != 1 || !std::ranges::all_of(links, isKnown) ||
        found->settings.empty() || found->name != flatFieldName)
        return std::nullopt;
    const auto link = static_cast<std::size_t>(found - links.begin());
    const LinkFacts& facts = factsOfLink(setup, link);
    if (!facts.calibration.level || facts.groups != FilterGroups::AsCalibrated)
        return std::nullopt;
    return *facts.calibration.level * binnedAfter(links, link);
}

std::string flatTimeNote(RunSetup& setup) {
    if (!setup.levels || !setup.options.quantity.levelRegion.empty())
        return {};
    const double seconds = setup.options.acqTime.value_or(setup.stack.acqTime(setup.range.begin));
    for (const LinkFacts& link : setup.workers.facts)
        if (link.calibration.seconds && seconds != 0 && *link.calibration.seconds != seconds)
            return link.settings + ": its flat fields were exposed for " +
                   numberText(*link.calibration.seconds) + " s, the frames for " + numberText(seconds) +
                   " s; times are not used, --level-region divides by an open area of each frame";
    return {};
}

} // namespace ombrel
