#include "cluster/JobScript.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <string_view>

namespace ombrel::cluster {

namespace {

namespace fs = std::filesystem;

std::string absolutePath(const std::string& path) {
    return fs::absolute(path).lexically_normal().string();
}

// A path in a pattern of sbatch, where "%" begins a variable.
std::string patternText(const std::string& path) {
    std::string text;
    for (const char c : path)
        text += c == '%' ? std::string("%%") : std::string(1, c);
    return text;
}

std::string jobName(const ClusterPlan& plan, const std::string& verb) {
    std::string name = "ombrel-" + verb + '-' + fs::path(plan.output).filename().string();
    const auto isPlain = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-';
    };
    std::ranges::replace_if(name, std::not_fn(isPlain), '_');
    return name;
}

std::string scriptHead(const ClusterPlan& plan, const std::string& verb) {
    std::string text = "#!/bin/bash\n"
                       "#SBATCH --job-name=" +
                       jobName(plan, verb) +
                       "\n"
                       "#SBATCH --nodes=1\n"
                       "#SBATCH --ntasks=1\n";
    for (const std::string& option : plan.jobOptions)
        text += "#SBATCH " + option + '\n';
    return text;
}

} // namespace

std::string shellWord(const std::string& text) {
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=,+@%";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos)
        return text;
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + '\'';
}

std::string shellLine(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + shellWord(word);
    return line;
}

std::string arrayText(const std::vector<PartIndex>& parts) {
    std::string text;
    for (std::size_t i = 0; i < parts.size();) {
        std::size_t last = i;
        while (last + 1 < parts.size() && parts[last + 1] == parts[last] + 1)
            ++last;
        text += (text.empty() ? "" : ",") + std::to_string(parts[i]);
        if (last > i)
            text += '-' + std::to_string(parts[last]);
        i = last + 1;
    }
    return text;
}

std::string partsScriptPath(const ClusterPlan& plan) {
    return absolutePath(plan.partFolder() + "/parts.sh");
}

std::string mergeScriptPath(const ClusterPlan& plan) {
    return absolutePath(plan.partFolder() + "/merge.sh");
}

std::string mergeLogPath(const ClusterPlan& plan) {
    return plan.partFolder() + "/merge.log";
}

// A part's file has the id of the job that writes it in its name. A later job takes an unfinished part over
// by renaming its file, which needs no locks, and a writer whose file was renamed stops. A job that Slurm
// requeues would keep its id while its first process may still run on a lost node: hence --no-requeue.
std::string partsScript(const ClusterPlan& plan) {
    const std::string cores =
        plan.cores == 0 ? "--exclusive" : "--cpus-per-task=" + std::to_string(plan.cores);
    const std::string end = std::to_string(plan.frames.end);
    return scriptHead(plan, "run") + "#SBATCH " + cores +
           "\n"
           "#SBATCH --no-requeue\n"
           "#SBATCH --open-mode=append\n"
           "#SBATCH --signal=B:TERM@60\n"
           "set -eu\n"
           "cd " +
           shellWord(plan.folder) +
           "\n"
           "begin=$((" +
           std::to_string(plan.frames.begin) + " + SLURM_ARRAY_TASK_ID * " + std::to_string(plan.partFrames) +
           "))\n"
           "end=$((begin + " +
           std::to_string(plan.partFrames) +
           "))\n"
           "if ((end > " +
           end + ")); then end=" + end +
           "; fi\n"
           "printf -v part '%s/part-%06d' " +
           shellWord(absolutePath(plan.partFolder())) +
           " \"$SLURM_ARRAY_TASK_ID\"\n"
           "output=$part.$SLURM_ARRAY_JOB_ID.h5\n"
           "# Takes over what an earlier job has done of this part. A process that still writes it stops.\n"
           "for earlier in \"$part\".*h5; do\n"
           "    if [[ -e $earlier && $earlier != \"$output\" ]]; then mv -fT -- \"$earlier\" \"$output\"; "
           "fi\n"
           "done\n"
           "exec " +
           shellWord(plan.program) + " run " + shellLine(plan.runArguments) +
           " \\\n"
           "    --jobs=\"${SLURM_CPUS_PER_TASK:-$SLURM_CPUS_ON_NODE}\" --resume"
           " --frames=\"$begin:$end\" -o \"$output\"\n";
}

std::string mergeScript(const ClusterPlan& plan) {
    return scriptHead(plan, "merge") + "#SBATCH --open-mode=append\n" + "exec " + shellWord(plan.program) +
           " cluster merge " + shellWord(absolutePath(plan.output)) + '\n';
}

std::vector<std::string> submitParts(const ClusterPlan& plan, const std::vector<PartIndex>& parts) {
    const std::string logs = patternText(absolutePath(plan.partFolder())) + "/part-%6a.log";
    return {"sbatch", "--parsable", "--array=" + arrayText(parts), "--output=" + logs, partsScriptPath(plan)};
}

std::vector<std::string> submitMerge(const ClusterPlan& plan, const std::vector<std::string>& afterJobs) {
    std::vector<std::string> command{"sbatch", "--parsable",
                                     "--output=" + patternText(absolutePath(mergeLogPath(plan)))};
    std::string dependency;
    for (const std::string& id : afterJobs)
        dependency += ':' + id;
    if (!dependency.empty())
        command.push_back("--dependency=afterany" + dependency);
    command.push_back(mergeScriptPath(plan));
    return command;
}

} // namespace ombrel::cluster
