#pragma once

#include "frame/FrameRange.h"

#include <QJsonObject>

#include <map>
#include <string>
#include <vector>

namespace ombrel::cluster {

using PartIndex = std::size_t;

// A job that was submitted: an array with one task per part, or the merge.
struct SubmittedJob {
    std::string id;
    bool merges = false;
    std::vector<PartIndex> parts;
    std::map<PartIndex, zt::u64> framesBefore; // done when it was submitted; parts without any are omitted
};

// A run that is divided into parts of equal size, each written by a process of its own and merged at the end.
// The parts, their logs, the job scripts and this plan are in a folder beside the output.
struct ClusterPlan {
    std::string output; // the merged file, as the user names it
    std::string folder; // where the run's relative paths begin
    std::string program = "ombrel";
    std::vector<std::string> runArguments; // inputs and options of `ombrel run` that all parts share
    FrameRange frames;
    zt::u64 partFrames = 0;
    unsigned cores = 0;                  // of each part; 0 for a whole node
    std::vector<std::string> jobOptions; // of sbatch
    std::vector<SubmittedJob> jobs;      // in the order of submission

    std::size_t partCount() const { return (frames.count() + partFrames - 1) / partFrames; }
    FrameRange framesOf(PartIndex part) const;

    std::string partFolder() const { return output + ".parts"; }
    std::string path() const { return partFolder() + "/plan.json"; }
    // The file of a part that no job of a cluster writes.
    std::string plainPartPath(PartIndex part) const;
    std::string logPath(PartIndex part) const;
    // The command of one part, with the number of jobs left to the process.
    std::vector<std::string> partCommand(PartIndex part) const;

    // What other schedulers need: the parts with their commands, and the command that merges them.
    QJsonObject commands() const;

    // Atomically writes the plan to its path. Throws Error.
    void save() const;
    // The plan of an output, whose path may differ from when it was saved. Throws Error.
    static ClusterPlan load(const std::string& output);
    // Throws Error if the output has a plan.
    static void refuseSubmitted(const std::string& output);
};

// "part-000012"
std::string partName(PartIndex part);

} // namespace ombrel::cluster
