#pragma once

#include "cluster/ClusterPlan.h"
#include "cluster/ClusterStatus.h"

#include <string>
#include <vector>

namespace ombrel::cluster {

// Makes the folder of the parts, writes the plan, and submits all parts and the merge. The plan has no jobs
// yet and gets those that were submitted, also if a later one fails. Returns messages on what was done.
// Throws Error.
std::vector<std::string> submitRun(ClusterPlan& plan);

// Submits the stopped parts again, and the merge if it is neither done nor in the queue. Returns messages
// on what was done. Throws Error.
std::vector<std::string> resumeRun(ClusterPlan& plan);

// What submitRun() would write and run.
std::string dryRunText(const ClusterPlan& plan);

// Merges the parts, which must be complete. Returns what was done, in one line. Throws Error, also if the
// output exists, unless it is the merge of these parts.
std::string mergeRun(const ClusterPlan& plan);

} // namespace ombrel::cluster
