#pragma once

#include "cluster/ClusterPlan.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::cluster {

// A task of a job that is in Slurm's queue.
struct QueuedTask {
    std::string job;
    std::optional<PartIndex> part; // nothing for a job that is not an array
    bool runs = false;             // else it waits
    double seconds = 0;            // since its start
};

// Asks Slurm's commands, which are searched on the PATH. All throw Error, also if a command is not found.

// Throws Error unless the command that submits jobs can be found.
void checkScheduler();
// Submits a job by a command of sbatch with --parsable, and returns the id of the job.
std::string submitJob(const std::vector<std::string>& command);
// The tasks of these jobs that wait or run. A task that is being cleaned up after its end is not listed.
std::vector<QueuedTask> queuedTasks(const std::vector<SubmittedJob>& jobs);
// How the last task of each part ended, in Slurm's words, as far as its accounting knows; empty where Slurm
// keeps no accounts.
std::map<PartIndex, std::string> endedTasks(const std::vector<SubmittedJob>& jobs);

// "[DAYS-][HOURS:]MINUTES:SECONDS" in seconds; 0 for other text.
double secondsOf(const std::string& elapsed);

} // namespace ombrel::cluster
