#pragma once

#include "cluster/ClusterPlan.h"

#include <string>
#include <vector>

namespace ombrel::cluster {

// One word of a shell command, quoted if the shell would read it as anything else.
std::string shellWord(const std::string& text);
std::string shellLine(const std::vector<std::string>& words);

// "0-3,7": ascending part numbers as sbatch wants them.
std::string arrayText(const std::vector<PartIndex>& parts);

// The script of a job array whose task N writes part N, and the script of the job that merges the parts.
std::string partsScript(const ClusterPlan& plan);
std::string mergeScript(const ClusterPlan& plan);
std::string partsScriptPath(const ClusterPlan& plan);
std::string mergeScriptPath(const ClusterPlan& plan);
std::string mergeLogPath(const ClusterPlan& plan);

// The commands that submit the scripts.
std::vector<std::string> submitParts(const ClusterPlan& plan, const std::vector<PartIndex>& parts);
// The merge starts when all jobs with these ids have ended, whatever their result: it checks the parts.
std::vector<std::string> submitMerge(const ClusterPlan& plan, const std::vector<std::string>& afterJobs);

} // namespace ombrel::cluster
