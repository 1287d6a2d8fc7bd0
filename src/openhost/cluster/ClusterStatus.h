#pragma once

#include "cluster/ClusterPlan.h"
#include "cluster/Scheduler.h"

#include <QJsonObject>

#include <string>
#include <vector>

namespace ombrel::cluster {

enum class PartState {
    Done,
    Running,
    Waiting, // in the queue
    Stopped, // incomplete, and no job works on it
};

struct PartStatus {
    PartState state = PartState::Stopped;
    std::string file; // empty until the part has one
    zt::u64 framesDone = 0;
    zt::u64 framesFailed = 0;
    std::string end; // how its last task ended, in Slurm's words; empty if not known
};

// What is known of a run: from its parts' files, and from Slurm.
struct ClusterStatus {
    std::vector<PartStatus> parts;
    std::vector<std::string> activeJobs; // that have parts in the queue
    bool mergeQueued = false;
    bool merged = false;
    double framesPerSecond = 0; // of the parts that run; 0 if not known

    std::size_t count(PartState state) const;
    zt::u64 framesDone() const;
    zt::u64 framesFailed() const;
    std::vector<PartIndex> stoppedParts() const;

    // For people: a summary, and a line for each stopped part.
    std::string text(const ClusterPlan& plan) const;
    QJsonObject toJson(const ClusterPlan& plan) const;
};

// The files and counts of all parts. A part that is taken over in the meantime may have two files: the one
// with more frames counts. A file that cannot be read counts as no frames.
std::vector<PartStatus> examineParts(const ClusterPlan& plan);

// Asks Slurm, then examines the files, so that a part that ends in between counts as done. Throws Error.
ClusterStatus examineRun(const ClusterPlan& plan);

// The files of all parts, which must be complete. Throws Error that names the first part that is not.
std::vector<std::string> completeParts(const ClusterPlan& plan);

} // namespace ombrel::cluster
