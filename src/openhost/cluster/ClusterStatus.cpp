#include "cluster/ClusterStatus.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "hdf5/Hdf5Output.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <numeric>
#include <optional>

namespace ombrel::cluster {

namespace {

namespace fs = std::filesystem;

const char* stateName(PartState state) {
    switch (state) {
    case PartState::Done:
        return "done";
    case PartState::Running:
        return "running";
    case PartState::Waiting:
        return "waiting";
    case PartState::Stopped:
        break;
    }
    return "stopped";
}

// The part whose file has this name; nothing for another file. Outputs that are being made are hidden files.
std::optional<PartIndex> partOfFile(const std::string& name) {
    PartIndex part = 0;
    int length = 0;
    if (std::sscanf(name.c_str(), "part-%zu%n", &part, &length) != 1 || !name.ends_with(".h5") ||
        !name.starts_with(partName(part) + '.'))
        return std::nullopt;
    return part;
}

PartStatus examineFile(const std::string& path) {
    PartStatus status;
    status.file = path;
    try {
        const OutputState output = readHdf5Output(path);
        status.framesDone = output.framesDone;
        status.framesFailed = static_cast<zt::u64>(std::ranges::count(output.rows, true, &FrameRow::failed));
        if (output.complete)
            status.state = PartState::Done;
    } catch (const Error&) { // being made, or taken over by another job at this moment
    }
    return status;
}

void addQueue(ClusterStatus& status, const ClusterPlan& plan, const std::vector<QueuedTask>& tasks) {
    for (const QueuedTask& task : tasks) {
        const auto job = std::ranges::find(plan.jobs, task.job, &SubmittedJob::id);
        if (job == plan.jobs.end())
            continue;
        if (job->merges) {
            status.mergeQueued = true;
            continue;
        }
        if (!task.part || *task.part >= status.parts.size())
            continue;
        if (std::ranges::find(status.activeJobs, task.job) == status.activeJobs.end())
            status.activeJobs.push_back(task.job);
        PartStatus& part = status.parts[*task.part];
        if (part.state != PartState::Done)
            part.state = task.runs ? PartState::Running : PartState::Waiting;
        if (part.state == PartState::Running && task.seconds > 0) {
            const auto before = job->framesBefore.find(*task.part);
            const zt::u64 first = before == job->framesBefore.end() ? 0 : before->second;
            status.framesPerSecond +=
                static_cast<double>(part.framesDone - std::min(first, part.framesDone)) / task.seconds;
        }
    }
}

std::string durationText(double seconds) {
    char text[64];
    if (seconds < 120)
        std::snprintf(text, sizeof text, "%.0f s", std::ceil(seconds));
    else if (seconds < 120 * 60)
        std::snprintf(text, sizeof text, "%.0f min", std::ceil(seconds / 60));
    else
        std::snprintf(text, sizeof text, "%.1f h", seconds / 3600);
    return text;
}

std::string rangeText(const FrameRange& range) {
    return "frames " + std::to_string(range.begin) + " to " + std::to_string(range.end - 1);
}

std::string stoppedText(const ClusterPlan& plan, PartIndex index, const PartStatus& part) {
    const FrameRange range = plan.framesOf(index);
    std::string text = "part " + std::to_string(index) + " (" + rangeText(range) + "): stopped after " +
                       std::to_string(part.framesDone) + " of " + countText(range.count(), "frame");
    if (!part.end.empty())
        text += ", " + part.end;
    return text + (fs::exists(plan.logPath(index)) ? "; see " + plan.logPath(index) : "") + '\n';
}

std::string mergeText(const ClusterStatus& status) {
    if (status.merged)
        return "merged";
    return status.mergeQueued ? "the merge is in the queue" : "not merged, and no merge is in the queue";
}

} // namespace

std::size_t ClusterStatus::count(PartState state) const {
    return static_cast<std::size_t>(std::ranges::count(parts, state, &PartStatus::state));
}

zt::u64 ClusterStatus::framesDone() const {
    return std::transform_reduce(
        parts.begin(), parts.end(), zt::u64{0}, std::plus<>(),
        [](const PartStatus& part) { return part.framesDone; });
}

zt::u64 ClusterStatus::framesFailed() const {
    return std::transform_reduce(
        parts.begin(), parts.end(), zt::u64{0}, std::plus<>(),
        [](const PartStatus& part) { return part.framesFailed; });
}

std::vector<PartIndex> ClusterStatus::stoppedParts() const {
    std::vector<PartIndex> stopped;
    for (PartIndex part = 0; part < parts.size(); ++part)
        if (parts[part].state == PartState::Stopped)
            stopped.push_back(part);
    return stopped;
}

std::string ClusterStatus::text(const ClusterPlan& plan) const {
    std::string text = plan.output + ": " + countText(parts.size(), "part");
    for (const PartState state :
         {PartState::Done, PartState::Running, PartState::Waiting, PartState::Stopped})
        text +=
            (state == PartState::Done ? ": " : ", ") + std::to_string(count(state)) + ' ' + stateName(state);
    text += '\n' + std::to_string(framesDone()) + " of " + countText(plan.frames.count(), "frame") + " done";
    if (framesFailed() != 0)
        text += ", " + std::to_string(framesFailed()) + " of them failed";
    if (framesPerSecond > 0) {
        char rate[64];
        std::snprintf(rate, sizeof rate, ", %.1f frames/s", framesPerSecond);
        const auto left = static_cast<double>(plan.frames.count() - framesDone());
        text += rate + std::string(", about ") + durationText(left / framesPerSecond) + " left";
    }
    text += '\n';
    for (const PartIndex part : stoppedParts())
        text += stoppedText(plan, part, parts[part]);
    return text + mergeText(*this) + '\n';
}

QJsonObject ClusterStatus::toJson(const ClusterPlan& plan) const {
    QJsonArray rows;
    for (PartIndex i = 0; i < parts.size(); ++i) {
        const FrameRange range = plan.framesOf(i);
        QJsonObject row{{"part", static_cast<qint64>(i)},
                        {"begin", static_cast<qint64>(range.begin)},
                        {"end", static_cast<qint64>(range.end)},
                        {"state", stateName(parts[i].state)},
                        {"frames_done", static_cast<qint64>(parts[i].framesDone)},
                        {"frames_failed", static_cast<qint64>(parts[i].framesFailed)}};
        if (!parts[i].file.empty())
            row.insert("file", QString::fromStdString(parts[i].file));
        if (!parts[i].end.empty())
            row.insert("ended_as", QString::fromStdString(parts[i].end));
        rows.append(row);
    }
    return {{"output", QString::fromStdString(plan.output)},
            {"frames", static_cast<qint64>(plan.frames.count())},
            {"frames_done", static_cast<qint64>(framesDone())},
            {"frames_failed", static_cast<qint64>(framesFailed())},
            {"frames_per_second", framesPerSecond},
            {"merged", merged},
            {"merge_queued", mergeQueued},
            {"parts", rows}};
}

std::vector<PartStatus> examineParts(const ClusterPlan& plan) {
    std::vector<PartStatus> parts(plan.partCount());
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(plan.partFolder(), none)) {
        const std::string name = entry.path().filename().string();
        const auto index = partOfFile(name);
        if (!index || *index >= parts.size())
            continue;
        PartStatus& best = parts[*index];
        const PartStatus found = examineFile(plan.partFolder() + '/' + name);
        if (best.file.empty() || found.state == PartState::Done || found.framesDone > best.framesDone)
            best = found;
    }
    return parts;
}

ClusterStatus examineRun(const ClusterPlan& plan) {
    const std::vector<QueuedTask> queue = queuedTasks(plan.jobs);
    ClusterStatus status;
    status.parts = examineParts(plan);
    status.merged = fs::exists(plan.output);
    addQueue(status, plan, queue);
    if (status.count(PartState::Stopped) != 0)
        for (const auto& [part, end] : endedTasks(plan.jobs))
            if (part < status.parts.size())
                status.parts[part].end = end;
    return status;
}

std::vector<std::string> completeParts(const ClusterPlan& plan) {
    const std::vector<PartStatus> parts = examineParts(plan);
    const auto isIncomplete = [](const PartStatus& part) { return part.state != PartState::Done; };
    const auto first = std::ranges::find_if(parts, isIncomplete);
    if (first != parts.end()) {
        const auto index = static_cast<PartIndex>(first - parts.begin());
        const auto incomplete = std::ranges::count_if(parts, isIncomplete);
        throw Error(
            plan.output + ": " + std::to_string(incomplete) + " of " + countText(parts.size(), "part") +
            (incomplete == 1 ? " is" : " are") + " incomplete (part " + std::to_string(index) + " has " +
            std::to_string(first->framesDone) + " of " + countText(plan.framesOf(index).count(), "frame") +
            "); wait for their jobs, or submit those that stopped with \"ombrel cluster resume\"");
    }
    std::vector<std::string> files;
    for (const PartStatus& part : parts)
        files.push_back(part.file);
    return files;
}

} // namespace ombrel::cluster
