#include "run/RunBench.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/Resources.h"
#include "base/Stopwatch.h"
#include "frame/PixelType.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace ombrel {

namespace {

// The times of all frames of all rounds.
struct AllTimes {
    std::vector<double> read;
    std::vector<double> filter;
    std::vector<double> write;
    std::vector<double> way;

    void add(const FrameTimes& times) {
        read.push_back(times.read);
        filter.push_back(times.filter);
        write.push_back(times.write);
        way.push_back(times.way);
    }
};

// Throws Error for the first frame that failed: its time would say nothing.
double timeRound(RunSetup& run, AllTimes& all) {
    BatchListener listener;
    listener.frameTimed = [&](const FrameTimes& times) { all.add(times); };
    listener.frameRow = [&](zt::u64 frame, const FrameRow& row) {
        if (row.failed)
            throw Error(run.stack.where(frame) + ": " + row.reason);
    };
    const Stopwatch watch;
    run.run(listener);
    return watch.seconds();
}

void describe(BenchResult& result, RunSetup& run) {
    for (FilterLink& link : run.workers.chains[0].links())
        result.chain += (result.chain.empty() ? "" : ", ") + link.name();
    result.pixelType = pixelTypeName(run.stack.pixelType(run.range.begin));
    result.outputType = run.options.outputType;
    result.width = run.stack.width();
    result.height = run.stack.height();
    result.frames = run.range;
    result.jobs = run.workers.chains.size();
}

QJsonObject jsonOf(const Percentiles& seconds) {
    return {{"p50", seconds.p50}, {"p99", seconds.p99}, {"p99.9", seconds.p999}};
}

std::string rowText(const char* name, const Percentiles& seconds) {
    std::array<char, 96> text;
    std::snprintf(text.data(), text.size(), "%-8s %9.3f ms %9.3f ms %9.3f ms\n", name, 1e3 * seconds.p50,
                  1e3 * seconds.p99, 1e3 * seconds.p999);
    return text.data();
}

} // namespace

Percentiles Percentiles::of(std::vector<double> seconds) {
    if (seconds.empty())
        return {};
    std::ranges::sort(seconds);
    const auto at = [&](double share) {
        const auto place = static_cast<std::size_t>(std::ceil(share * static_cast<double>(seconds.size())));
        return seconds[std::clamp<std::size_t>(place, 1, seconds.size()) - 1];
    };
    return {at(0.5), at(0.99), at(0.999)};
}

double BenchResult::framesPerSecond() const {
    return static_cast<double>(frames.count()) / medianOfCopy(rounds);
}

std::string BenchResult::text() const {
    std::array<char, 64> rate;
    std::snprintf(rate.data(), rate.size(), "%.1f frames/s", framesPerSecond());
    std::array<char, 64> head;
    std::snprintf(head.data(), head.size(), "%-8s %12s %12s %12s\n", "", "p50", "p99", "p99.9");
    return chain + " on " + countText(frames.count(), "frame") + " of " + sizeText(width, height) + ' ' +
           pixelType + " to " + outputType + ", " + countText(jobs, "job") + ", " +
           countText(rounds.size(), "round") + "\n" + rate.data() + "\n" + head.data() +
           rowText("read", read) + rowText("filter", filter) + rowText("write", write) + rowText("way", way) +
           "memory: " + bytesText(static_cast<double>(peakBytes)) + " at most, " +
           bytesText(static_cast<double>(loadedBytes)) + " before the first frame\n";
}

QJsonObject BenchResult::toJson() const {
    QJsonArray seconds;
    for (const double round : rounds)
        seconds.append(round);
    return {{"version", OMBREL_VERSION},
            {"processor", QString::fromStdString(processorName())},
            {"processors", static_cast<int>(availableProcessors())},
            {"chain", QString::fromStdString(chain)},
            {"pixel_type", QString::fromStdString(pixelType)},
            {"output_type", QString::fromStdString(outputType)},
            {"width", static_cast<qint64>(width)},
            {"height", static_cast<qint64>(height)},
            {"frames", static_cast<qint64>(frames.count())},
            {"jobs", static_cast<int>(jobs)},
            {"round_seconds", seconds},
            {"frames_per_second", framesPerSecond()},
            {"read_seconds", jsonOf(read)},
            {"filter_seconds", jsonOf(filter)},
            {"write_seconds", jsonOf(write)},
            {"way_seconds", jsonOf(way)},
            {"loaded_bytes", static_cast<qint64>(loadedBytes)},
            {"peak_bytes", static_cast<qint64>(peakBytes)}};
}

BenchResult measureRun(const RunOptions& options, unsigned rounds, Console& console) {
    RunSetup run(options, console);
    for (const std::string& line : warningsOn(run))
        console.message(line);
    BenchResult result;
    describe(result, run);
    result.loadedBytes = residentMemory();
    AllTimes all;
    for (unsigned round = 0; round < rounds; ++round)
        result.rounds.push_back(timeRound(run, all));
    result.read = Percentiles::of(std::move(all.read));
    result.filter = Percentiles::of(std::move(all.filter));
    result.write = Percentiles::of(std::move(all.write));
    result.way = Percentiles::of(std::move(all.way));
    result.peakBytes = std::max(peakMemory(), result.loadedBytes); // the kernel counts both by itself
    return result;
}

} // namespace ombrel
