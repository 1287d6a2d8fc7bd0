#include "cluster/Scheduler.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include <algorithm>

namespace ombrel::cluster {

namespace {

struct CommandResult {
    int exitCode = 0;
    QString output;
    std::string problem; // the first line of its messages
};

[[noreturn]] void refuseMissing(const std::string& command) {
    throw Error(command + ": not found on the PATH; run this where Slurm's commands are installed, or use "
                          "\"ombrel cluster plan --json\" with another scheduler");
}

CommandResult runCommand(const std::vector<std::string>& command) {
    QStringList arguments;
    for (std::size_t i = 1; i < command.size(); ++i)
        arguments.append(QString::fromStdString(command[i]));
    QProcess process;
    process.start(QString::fromStdString(command[0]), arguments, QIODevice::ReadOnly);
    if (!process.waitForFinished(-1) && process.error() == QProcess::FailedToStart)
        refuseMissing(command[0]);
    const QString messages = QString::fromLocal8Bit(process.readAllStandardError()).trimmed();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardOutput()),
            messages.section('\n', 0, 0).toStdString()};
}

// Runs a command that must succeed.
QString outputOf(const std::vector<std::string>& command) {
    const CommandResult result = runCommand(command);
    if (result.exitCode != 0)
        throw Error(command[0] + " failed" + (result.problem.empty() ? "" : ": " + result.problem));
    return result.output;
}

std::string idsOf(const std::vector<SubmittedJob>& jobs) {
    std::string ids;
    for (const SubmittedJob& job : jobs)
        ids += (ids.empty() ? "" : ",") + job.id;
    return ids;
}

std::optional<PartIndex> partFrom(const QString& text) {
    bool isNumber = false;
    const PartIndex part = text.toULongLong(&isNumber);
    return isNumber ? std::optional(part) : std::nullopt;
}

} // namespace

void checkScheduler() {
    if (QStandardPaths::findExecutable("sbatch").isEmpty())
        refuseMissing("sbatch");
}

std::string submitJob(const std::vector<std::string>& command) {
    // The id, or the id and the name of the cluster.
    const std::string id = outputOf(command).trimmed().section(';', 0, 0).toStdString();
    if (!readNumber<zt::u64>(id))
        throw Error(command[0] + " answered \"" + id + "\" in place of a job id");
    return id;
}

std::vector<QueuedTask> queuedTasks(const std::vector<SubmittedJob>& jobs) {
    if (jobs.empty())
        return {};
    const CommandResult result =
        runCommand({"squeue", "--noheader", "--array", "--format=%F|%K|%T|%M", "--jobs=" + idsOf(jobs)});
    // Asked for a single job that it has forgotten, squeue fails.
    if (result.exitCode != 0 && result.problem.find("Invalid job id") == std::string::npos)
        throw Error("squeue failed" + (result.problem.empty() ? "" : ": " + result.problem) +
                    "; try again when Slurm answers");
    std::vector<QueuedTask> tasks;
    for (const QString& line : result.output.split('\n', Qt::SkipEmptyParts)) {
        const QStringList fields = line.trimmed().split('|');
        if (fields.size() != 4 || fields[2] == "COMPLETING")
            continue;
        const bool waits = fields[2] == "PENDING" || fields[2] == "REQUEUED" || fields[2] == "REQUEUE_HOLD";
        tasks.push_back(
            {fields[0].toStdString(), partFrom(fields[1]), !waits, secondsOf(fields[3].toStdString())});
    }
    return tasks;
}

std::map<PartIndex, std::string> endedTasks(const std::vector<SubmittedJob>& jobs) {
    std::map<PartIndex, std::string> ends;
    if (jobs.empty() || QStandardPaths::findExecutable("sacct").isEmpty())
        return ends;
    const CommandResult result = runCommand({"sacct", "--noheader", "--parsable2", "--allocations",
                                             "--format=JobID,State", "--jobs=" + idsOf(jobs)});
    const QStringList lines = result.output.split('\n', Qt::SkipEmptyParts);
    for (const SubmittedJob& job : jobs) { // a later job replaces the word of an earlier one
        const QString prefix = QString::fromStdString(job.id) + '_';
        for (const QString& line : lines) {
            const QString task = line.section('|', 0, 0);
            const auto part = partFrom(task.mid(prefix.size()));
            if (task.startsWith(prefix) && part) // the state may be followed by more, as "CANCELLED by 1000"
                ends[*part] = line.section('|', 1, 1).section(' ', 0, 0).trimmed().toStdString();
        }
    }
    return ends;
}

double secondsOf(const std::string& elapsed) {
    const QString text = QString::fromStdString(elapsed).trimmed();
    const double days = text.contains('-') ? text.section('-', 0, 0).toDouble() : 0;
    double seconds = 0;
    for (const QString& field : text.section('-', -1).split(':'))
        seconds = seconds * 60 + field.toDouble();
    return days * 24 * 60 * 60 + seconds;
}

} // namespace ombrel::cluster
