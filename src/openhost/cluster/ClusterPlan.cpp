#include "cluster/ClusterPlan.h"

#include "base/AtomicFile.h"
#include "base/Error.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace ombrel::cluster {

namespace {

QJsonArray jsonOf(const std::vector<std::string>& texts) {
    QJsonArray array;
    for (const std::string& text : texts)
        array.append(QString::fromStdString(text));
    return array;
}

std::vector<std::string> textsFrom(const QJsonValue& json) {
    std::vector<std::string> texts;
    for (const QJsonValue& text : json.toArray())
        texts.push_back(text.toString().toStdString());
    return texts;
}

zt::u64 countFrom(const QJsonValue& json) {
    return static_cast<zt::u64>(std::max<qint64>(json.toInteger(), 0));
}

QJsonObject jsonOf(const SubmittedJob& job) {
    QJsonArray parts;
    for (const PartIndex part : job.parts)
        parts.append(static_cast<qint64>(part));
    QJsonObject before;
    for (const auto& [part, frames] : job.framesBefore)
        before.insert(QString::number(part), static_cast<qint64>(frames));
    return {{"id", QString::fromStdString(job.id)},
            {"merges", job.merges},
            {"parts", parts},
            {"frames_before", before}};
}

SubmittedJob jobFrom(const QJsonObject& json) {
    SubmittedJob job{json["id"].toString().toStdString(), json["merges"].toBool(), {}, {}};
    for (const QJsonValue& part : json["parts"].toArray())
        job.parts.push_back(countFrom(part));
    const QJsonObject before = json["frames_before"].toObject();
    for (auto entry = before.begin(); entry != before.end(); ++entry)
        job.framesBefore[entry.key().toULongLong()] = countFrom(entry.value());
    return job;
}

ClusterPlan planFrom(const QJsonObject& json) {
    ClusterPlan plan;
    plan.folder = json["folder"].toString().toStdString();
    plan.program = json["program"].toString().toStdString();
    plan.runArguments = textsFrom(json["run"]);
    plan.frames = {countFrom(json["begin"]), countFrom(json["end"])};
    plan.partFrames = countFrom(json["part_frames"]);
    plan.cores = static_cast<unsigned>(countFrom(json["cores"]));
    plan.jobOptions = textsFrom(json["sbatch"]);
    for (const QJsonValue& job : json["jobs"].toArray())
        plan.jobs.push_back(jobFrom(job.toObject()));
    return plan;
}

bool isWhole(const ClusterPlan& plan) {
    return !plan.program.empty() && !plan.runArguments.empty() && plan.frames.begin < plan.frames.end &&
           plan.partFrames > 0;
}

} // namespace

std::string partName(PartIndex part) {
    char name[32];
    std::snprintf(name, sizeof name, "part-%06zu", part);
    return name;
}

FrameRange ClusterPlan::framesOf(PartIndex part) const {
    const zt::u64 begin = frames.begin + part * partFrames;
    return {begin, std::min(begin + partFrames, frames.end)};
}

std::string ClusterPlan::plainPartPath(PartIndex part) const {
    return partFolder() + '/' + partName(part) + ".h5";
}

std::string ClusterPlan::logPath(PartIndex part) const {
    return partFolder() + '/' + partName(part) + ".log";
}

std::vector<std::string> ClusterPlan::partCommand(PartIndex part) const {
    const FrameRange range = framesOf(part);
    std::vector<std::string> command{program, "run"};
    command.insert(command.end(), runArguments.begin(), runArguments.end());
    if (cores != 0)
        command.push_back("--jobs=" + std::to_string(cores));
    for (const std::string& word :
         {std::string("--frames=") + std::to_string(range.begin) + ':' + std::to_string(range.end),
          std::string("--resume"), std::string("-o"), plainPartPath(part)})
        command.push_back(word);
    return command;
}

QJsonObject ClusterPlan::commands() const {
    QJsonArray parts;
    std::vector<std::string> merge{program, "merge"};
    for (PartIndex part = 0; part < partCount(); ++part) {
        const FrameRange range = framesOf(part);
        parts.append(QJsonObject{{"part", static_cast<qint64>(part)},
                                 {"begin", static_cast<qint64>(range.begin)},
                                 {"end", static_cast<qint64>(range.end)},
                                 {"output", QString::fromStdString(plainPartPath(part))},
                                 {"command", jsonOf(partCommand(part))}});
        merge.push_back(plainPartPath(part));
    }
    merge.insert(merge.end(), {"-o", output});
    return {{"output", QString::fromStdString(output)},
            {"folder", QString::fromStdString(folder)},
            {"part_folder", QString::fromStdString(partFolder())},
            {"part_frames", static_cast<qint64>(partFrames)},
            {"parts", parts},
            {"merge", jsonOf(merge)}};
}

void ClusterPlan::save() const {
    QJsonArray submitted;
    for (const SubmittedJob& job : jobs)
        submitted.append(jsonOf(job));
    writeJsonFile(path(), {{"folder", QString::fromStdString(folder)},
                           {"program", QString::fromStdString(program)},
                           {"run", jsonOf(runArguments)},
                           {"begin", static_cast<qint64>(frames.begin)},
                           {"end", static_cast<qint64>(frames.end)},
                           {"part_frames", static_cast<qint64>(partFrames)},
                           {"cores", static_cast<qint64>(cores)},
                           {"sbatch", jsonOf(jobOptions)},
                           {"jobs", submitted}});
}

ClusterPlan ClusterPlan::load(const std::string& output) {
    ClusterPlan named;
    named.output = output;
    QFile file(QString::fromStdString(named.path()));
    if (!file.open(QIODevice::ReadOnly))
        throw Error(named.path() + ": cannot be opened: " + file.errorString().toStdString() +
                    "; begin with \"ombrel cluster submit\", or name the output that was given there");
    ClusterPlan plan = planFrom(QJsonDocument::fromJson(file.readAll()).object());
    if (!isWhole(plan))
        throw Error(named.path() + ": is damaged; remove " + named.partFolder() +
                    " and submit the run again");
    plan.output = output;
    return plan;
}

void ClusterPlan::refuseSubmitted(const std::string& output) {
    ClusterPlan named;
    named.output = output;
    std::error_code none;
    if (std::filesystem::exists(named.path(), none))
        throw Error(output + ": is already submitted; use \"ombrel cluster resume\", or remove " +
                    named.partFolder() + " to begin again");
}

} // namespace ombrel::cluster
