#include "cluster/ClusterRun.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "cluster/JobScript.h"
#include "frame/RunRecord.h"
#include "hdf5/Hdf5Output.h"
#include "stack/MergedParts.h"

#include <algorithm>
#include <filesystem>
#include <numeric>

namespace ombrel::cluster {

namespace {

namespace fs = std::filesystem;

// Submits parts and remembers their job at once: a program that ends here knows of it.
std::string submitAndSave(ClusterPlan& plan, const std::vector<PartIndex>& parts,
                          const ClusterStatus& status) {
    SubmittedJob job{submitJob(submitParts(plan, parts)), false, parts, {}};
    for (const PartIndex part : parts)
        if (status.parts[part].framesDone != 0)
            job.framesBefore[part] = status.parts[part].framesDone;
    plan.jobs.push_back(job);
    plan.save();
    return job.id;
}

// The plan's lock, held by this process, is seen as held only where the file system has locks.
void noteLocks(const ClusterPlan& plan, std::vector<std::string>& messages) {
    if (!isBeingWritten(hiddenBeside(plan.path(), ".lock")))
        messages.push_back(plan.partFolder() +
                           ": this file system has no locks; each part still has one writer, the job "
                           "whose id its file has in its name");
}

std::vector<std::string> submitMissing(ClusterPlan& plan, const ClusterStatus& status) {
    checkScheduler();
    replaceFile(partsScriptPath(plan), partsScript(plan));
    replaceFile(mergeScriptPath(plan), mergeScript(plan));
    std::string text;
    std::vector<std::string> afterJobs = status.activeJobs;
    const std::vector<PartIndex> parts = status.stoppedParts();
    if (!parts.empty()) {
        const std::string id = submitAndSave(plan, parts, status);
        text = countText(parts.size(), "part") + " as job " + id + ", ";
        afterJobs.push_back(id);
    }
    const std::string merge = submitJob(submitMerge(plan, afterJobs));
    plan.jobs.push_back({merge, true, {}, {}});
    plan.save();
    std::vector<std::string> messages{plan.output + ": submitted " + text + "the merge as job " + merge};
    noteLocks(plan, messages);
    return messages;
}

void makeFolder(const std::string& path) {
    std::error_code failure;
    fs::create_directory(path, failure);
    if (failure)
        throw Error(path + ": cannot be made: " + failure.message());
}

bool isMergeOf(const std::string& whole, const ClusterPlan& plan) {
    const OutputState state = readHdf5Output(whole);
    const RunRecord record = RunRecord::fromJson(state.plan.record);
    return record.parts.size() == plan.partCount() && record.begin == plan.frames.begin &&
           record.end == plan.frames.end;
}

} // namespace

std::vector<std::string> submitRun(ClusterPlan& plan) {
    checkScheduler();
    makeFolder(plan.partFolder());
    const OutputLock lock(plan.path(), true);
    ClusterPlan::refuseSubmitted(plan.output);
    plan.save();
    ClusterStatus status;
    status.parts = examineParts(plan);
    return submitMissing(plan, status);
}

std::vector<std::string> resumeRun(ClusterPlan& plan) {
    const OutputLock lock(plan.path(), true);
    plan = ClusterPlan::load(plan.output); // another program may have submitted since
    const ClusterStatus status = examineRun(plan);
    const bool partsStopped = status.count(PartState::Stopped) != 0;
    if (!partsStopped && (status.merged || status.mergeQueued))
        return {plan.output + ": nothing to submit; " + std::to_string(status.count(PartState::Done)) +
                " of " + countText(status.parts.size(), "part") + " done, the others are in the queue"};
    return submitMissing(plan, status);
}

std::string dryRunText(const ClusterPlan& plan) {
    std::vector<PartIndex> all(plan.partCount());
    std::iota(all.begin(), all.end(), PartIndex{0});
    return "# " + partsScriptPath(plan) + '\n' + partsScript(plan) + "\n# " + mergeScriptPath(plan) + '\n' +
           mergeScript(plan) + "\n# commands\n" + shellLine(submitParts(plan, all)) + '\n' +
           shellLine(submitMerge(plan, {"JOB"})) + '\n';
}

std::string mergeRun(const ClusterPlan& plan) {
    const std::vector<std::string> parts = completeParts(plan);
    const OutputLock lock(plan.output, true);
    if (fs::exists(plan.output)) {
        if (!isMergeOf(plan.output, plan))
            throw Error(plan.output + ": exists and is not the merge of " + plan.partFolder() +
                        "; move it away and merge again");
        checkPartsOf(plan.output);
        return plan.output + ": is already merged; nothing to do";
    }
    mergeParts(parts, plan.output);
    return countText(parts.size(), "part") + " as one: " + plan.output;
}

} // namespace ombrel::cluster
