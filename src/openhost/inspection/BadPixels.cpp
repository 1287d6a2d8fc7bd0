#include "inspection/BadPixels.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelFaults.h"
#include "inspection/FrameMarks.h"
#include "inspection/PixelNoise.h"
#include "inspection/PixelResponse.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

namespace ombrel {

namespace {

constexpr double leastCounts = 20;           // a frame, for chi-square to hold in its far tail
constexpr double burstShare = 1e-7;          // of good pixels that seem to burst
constexpr double restShare = 1e-4;           // of bursting pixels whose other frames seem to vary
constexpr double burstKurtosis = 3.5;        // excess; only one in a hundred noisy pixels reaches it
constexpr double levelsRemainder = 0.18;     // one in thirty noisy pixels falls below it, in 20 frames
constexpr double farLevel = 2;               // of a frame, as a factor
constexpr std::size_t levelSamples = 65536;  // pixels that determine the levels of the frames
constexpr std::size_t leastSamples = 1024;   // of many frames
constexpr std::size_t mostSamples = 1 << 27; // of all frames together: 1 GB

// Marked pixels have the value -1.
FramePtr readDoubles(FrameStack& stack, zt::u64 index) {
    FramePtr frame = stack.readFrame(index);
    const auto marked = FrameMarks({}, {}).find(*frame);
    frame->convertToType(zt::DT_DOUBLE);
    for (const zt::u32 pixel : marked)
        frame->pixels<double>()[pixel] = -1;
    return frame;
}

// One pass over the frames.
struct Totals {
    explicit Totals(std::size_t pixels)
        : sums(pixels), first(pixels), silent(pixels, true), steady(pixels, true), broken(pixels) {}

    void add(std::span<const double> frame, bool isFirst) {
        for (std::size_t i = 0; i < frame.size(); ++i) {
            const double count = frame[i];
            const bool finite = std::isfinite(count);
            if (isFirst)
                first[i] = count;
            if (!finite)
                broken[i] = true;
            if (count > 0 && finite)
                silent[i] = false;
            if (count != first[i])
                steady[i] = false;
            sums[i] += finite ? std::max(count, 0.0) : 0;
        }
    }

    std::vector<double> sums;
    std::vector<double> first; // the value in the first frame
    std::vector<bool> silent;  // counts in no frame
    std::vector<bool> steady;  // has the same value in all frames
    std::vector<bool> broken;  // not finite in some frame
};

class Search {
public:
    Search(FrameStack& flatStack, const std::vector<zt::u32>& known, const BadPixelLimits& wanted,
           const std::function<void()>& frameRead)
        : flats(flatStack), limits(wanted), advanced(frameRead), totals(pixelCount()) {
        found.width = flats.width();
        found.height = flats.height();
        found.flats = flats.frameCount();
        found.faults.resize(pixelCount());
        given = known.empty() ? std::vector<zt::u32>(pixelCount()) : known;
    }

    BadPixels run(FrameStack* darks) {
        sumFrames();
        markSilent();
        std::vector<double> level = found.mean;
        if (darks)
            judgeDarks(*darks, level);
        judgeResponse(level);
        if (found.flats >= leastFlatsForNoise)
            judgeNoise();
        for (std::size_t i = 0; i < given.size(); ++i)
            if (given[i] != 0)
                found.faults[i] = given[i];
        return std::move(found);
    }

private:
    std::size_t pixelCount() const { return std::size_t{flats.width()} * flats.height(); }

    template <typename Work>
    void forEachFrame(FrameStack& stack, Work work) {
        for (zt::u64 index = 0; index < stack.frameCount(); ++index) {
            const FramePtr frame = readDoubles(stack, index);
            work(index, std::as_const(*frame).pixels<double>());
            advanced();
        }
    }

    void sumFrames() {
        const std::size_t wanted =
            std::clamp<std::size_t>(mostSamples / flats.frameCount(), leastSamples, levelSamples);
        const std::size_t step = std::max<std::size_t>(1, pixelCount() / wanted);
        std::vector<std::vector<double>> samples;
        forEachFrame(flats, [&](zt::u64 index, std::span<const double> frame) {
            totals.add(frame, index == 0);
            auto& sample = samples.emplace_back();
            for (std::size_t i = 0; i < frame.size(); i += step)
                sample.push_back(frame[i]);
        });
        std::vector<std::size_t> counting;
        for (std::size_t i = 0; i < samples.front().size(); ++i)
            if (!totals.silent[i * step] && !totals.broken[i * step] && given[i * step] == 0)
                counting.push_back(i);
        if (counting.empty())
            throw Error(flats.where(0) + ": no pixel counts in any of the flat fields");
        for (const auto& sample : samples) {
            std::vector<double> ratios;
            for (const std::size_t i : counting)
                ratios.push_back(sample[i] / totals.sums[i * step]);
            levels.push_back(medianOfCopy(std::move(ratios)));
        }
        checkLevels();
        for (const double sum : totals.sums)
            found.mean.push_back(sum / static_cast<double>(found.flats));
    }

    // The levels become shares of the sum over all frames.
    void checkLevels() {
        const double median = medianOfCopy(levels);
        if (!(median > 0))
            throw Error(flats.where(0) + ": the flat fields hold too few counts to compare their levels; use "
                                         "longer exposures");
        double sum = 0;
        for (std::size_t i = 0; i < levels.size(); ++i) {
            if (!(levels[i] < farLevel * median && levels[i] * farLevel > median)) {
                char percent[32];
                std::snprintf(percent, sizeof percent, "%.0f", 100 * levels[i] / median);
                throw Error(flats.where(i) + ": its level is " + percent +
                            " % of the median of the flat fields; repeat the command without this frame");
            }
            sum += levels[i];
        }
        for (double& level : levels)
            level /= sum;
    }

    bool isJudged(std::size_t pixel) const { return given[pixel] == 0 && found.faults[pixel] == 0; }

    void markSilent() {
        markGaps(totals.silent, found.width, found.faults);
        for (std::size_t i = 0; i < pixelCount(); ++i)
            if (totals.broken[i] && found.faults[i] != fault::gap)
                found.faults[i] = fault::notFinite;
    }

    // Darks judge hot pixels, and are subtracted where the response is judged.
    void judgeDarks(FrameStack& darks, std::vector<double>& level) {
        if (darks.width() != found.width || darks.height() != found.height)
            throw Error(darks.where(0) + ": a dark frame has " + sizeText(darks.width(), darks.height()) +
                        " pixels, the flat fields have " + sizeText(found.width, found.height));
        std::vector<double> dark(pixelCount());
        forEachFrame(darks, [&](zt::u64, std::span<const double> frame) {
            for (std::size_t i = 0; i < frame.size(); ++i)
                if (std::isfinite(frame[i]))
                    dark[i] += std::max(frame[i], 0.0);
                else if (found.faults[i] == 0)
                    found.faults[i] = fault::notFinite;
        });
        found.darks = darks.frameCount();
        for (std::size_t i = 0; i < dark.size(); ++i) {
            dark[i] /= static_cast<double>(found.darks);
            level[i] -= dark[i];
        }
        markHot(dark, found.darks, limits.deviation, found.faults);
    }

    void judgeResponse(const std::vector<double>& level) {
        std::vector<double> variance(pixelCount());
        std::vector<zt::u32> faults = given;
        for (std::size_t i = 0; i < variance.size(); ++i) {
            faults[i] |= found.faults[i];
            variance[i] = 1 / std::max(totals.sums[i], 1.0);
        }
        markResponse(level, variance, found.width, limits.deviation, faults);
        for (std::size_t i = 0; i < variance.size(); ++i) {
            found.faults[i] |= faults[i] & ~given[i];
            // In noise, equal counts in all frames do not occur.
            const double chance = -0.5 * static_cast<double>(found.flats - 1) *
                                  std::log(std::max(2 * 3.14 * found.mean[i], 1.0));
            if (totals.steady[i] && isJudged(i) && chance < std::log(burstShare))
                found.faults[i] = fault::dead;
        }
    }

    double expected(std::size_t pixel, zt::u64 frame) const { return totals.sums[pixel] * levels[frame]; }

    void judgeNoise() {
        std::vector<std::size_t> judged;
        for (std::size_t i = 0; i < pixelCount(); ++i) {
            if (given[i] != 0 || (found.faults[i] & ~fault::over & ~fault::under) != 0)
                continue;
            if (found.mean[i] < leastCounts)
                ++found.faint;
            else
                judged.push_back(i);
        }
        if (judged.empty())
            return;
        sumDeviations(judged);
        const double degrees = static_cast<double>(found.flats - 1);
        std::vector<double> good;
        for (const std::size_t i : judged)
            good.push_back(squares[i]);
        // Many frames of a detector with a noise of its own have another variance than photons alone.
        found.noiseScale = medianOfCopy(good) / chiSquareMedian(degrees);
        markBursts(judged);
        markNoisy(judged);
    }

    void sumDeviations(const std::vector<std::size_t>& judged) {
        squares.resize(pixelCount());
        fourth.resize(pixelCount());
        worst.resize(pixelCount());
        forEachFrame(flats, [&](zt::u64 index, std::span<const double> frame) {
            for (const std::size_t i : judged) {
                const double mean = expected(i, index);
                const double deviation = (frame[i] - mean) / std::sqrt(mean);
                const double square = deviation * deviation;
                squares[i] += square;
                fourth[i] += square * square;
                if (deviation > worst[i].deviation)
                    worst[i] = {deviation, frame[i], index};
            }
        });
    }

    // The probability that the worst of all frames of a good pixel deviates by as much.
    double burstChance(std::size_t pixel) const {
        const Worst& high = worst[pixel];
        const double deviation =
            shareDeviation(high.count, totals.sums[pixel], levels[high.frame]) / std::sqrt(found.noiseScale);
        return 0.5 * std::erfc(deviation / std::sqrt(2.0)) * static_cast<double>(found.flats);
    }

    void markBursts(const std::vector<std::size_t>& judged) {
        if (found.flats < leastFlatsForKinds)
            return;
        const auto frames = static_cast<double>(found.flats);
        for (const std::size_t i : judged) {
            const double own = worst[i].deviation * worst[i].deviation;
            if (!(own > 9 * found.noiseScale) || burstChance(i) > burstShare)
                continue;
            // Without the worst frame, the others deviate from a lower mean.
            const double rest = std::max(0.0, squares[i] - own / (1 - levels[worst[i].frame]));
            const double kurtosis = frames * fourth[i] / (squares[i] * squares[i]) - 3;
            if (chiSquareTail(rest / found.noiseScale, frames - 2) > restShare || kurtosis > burstKurtosis)
                found.faults[i] |= fault::bursting;
        }
    }

    void markNoisy(const std::vector<std::size_t>& judged) {
        const auto degrees = static_cast<double>(found.flats - 1);
        std::map<std::size_t, double> chances; // of pixels that may be noisy
        zt::u64 tests = 0;
        for (const std::size_t i : judged) {
            if ((found.faults[i] & fault::bursting) == fault::bursting)
                continue;
            ++tests;
            const double scaled = squares[i] / found.noiseScale;
            if (scaled > degrees)
                if (const double chance = chiSquareTail(scaled, degrees); chance <= limits.falseDiscoveryRate)
                    chances[i] = chance;
        }
        std::vector<double> small;
        for (const auto& [pixel, chance] : chances)
            small.push_back(chance);
        const double limit = discoveryLimit(std::move(small), tests, limits.falseDiscoveryRate);
        std::map<std::size_t, std::vector<double>> noisy;
        for (const auto& [pixel, chance] : chances)
            if (chance <= limit)
                noisy[pixel];
        markKinds(noisy);
    }

    // Distinguishes flickering pixels from noisy ones by all of their values.
    void markKinds(std::map<std::size_t, std::vector<double>>& noisy) {
        if (noisy.empty())
            return;
        forEachFrame(flats, [&](zt::u64 index, std::span<const double> frame) {
            for (auto& [pixel, deviations] : noisy) {
                const double mean = expected(pixel, index);
                deviations.push_back((frame[pixel] - mean) / std::sqrt(mean));
            }
        });
        for (auto& [pixel, deviations] : noisy) {
            const TwoLevels two = twoLevelsOf(std::move(deviations));
            const bool isTwo = found.flats >= leastFlatsForKinds && two.remainder < levelsRemainder;
            found.faults[pixel] |= !isTwo                             ? fault::noisy
                                   : two.fewer == 1 && two.fewerAbove ? fault::bursting
                                                                      : fault::flickering;
        }
    }

    struct Worst {
        double deviation = 0;
        double count = 0;
        zt::u64 frame = 0;
    };

    FrameStack& flats;
    const BadPixelLimits& limits;
    const std::function<void()>& advanced;
    Totals totals;
    std::vector<zt::u32> given;
    std::vector<double> levels; // of each frame, as a share of the sum of all
    std::vector<double> squares;
    std::vector<double> fourth;
    std::vector<Worst> worst;
    BadPixels found;
};

} // namespace

BadPixels findBadPixels(FrameStack& flats, FrameStack* darks, const std::vector<zt::u32>& known,
                        const BadPixelLimits& limits, const std::function<void()>& frameRead) {
    return Search(flats, known, limits, frameRead).run(darks);
}

} // namespace ombrel
