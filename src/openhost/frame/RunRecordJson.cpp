#include "base/Error.h"
#include "frame/RunRecord.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

namespace ombrel {

namespace {

constexpr qint64 mostFrames = qint64{1} << 53; // up to here a JSON number is exact

// A record may have been edited or damaged: what it says is taken only where a run can have said it.
[[noreturn]] void refuse(const QString& what) {
    throw Error("the record of the run is damaged: " + what.toStdString());
}

qint64 integerFrom(const QJsonObject& json, const QString& key, qint64 low, qint64 high) {
    const qint64 none = low - 1;
    const QJsonValue value = json.value(key);
    const qint64 number = value.toInteger(none);
    if (!value.isDouble() || number < low || number > high)
        refuse("\"" + key + "\" is not a whole number from " + QString::number(low) + " to " +
               QString::number(high));
    return number;
}

QJsonObject toJson(const FileRecord& file) {
    QJsonObject json{{"path", QString::fromStdString(file.path)},
                     {"bytes", static_cast<qint64>(file.bytes)},
                     {"modified", QString::fromStdString(file.modified)}};
    if (!file.hash.empty())
        json.insert("hash", QString::fromStdString(file.hash));
    return json;
}

FileRecord fileFromJson(const QJsonValue& json) {
    return {json["path"].toString().toStdString(), static_cast<zt::u64>(json["bytes"].toInteger()),
            json["modified"].toString().toStdString(), json["hash"].toString().toStdString()};
}

QJsonArray toJson(const std::vector<FileRecord>& files) {
    QJsonArray json;
    for (const FileRecord& file : files)
        json.append(toJson(file));
    return json;
}

std::vector<FileRecord> filesFromJson(const QJsonValue& json) {
    std::vector<FileRecord> files;
    for (const QJsonValue& file : json.toArray())
        files.push_back(fileFromJson(file));
    return files;
}

QJsonArray toJson(const std::vector<std::string>& texts) {
    QJsonArray json;
    for (const std::string& text : texts)
        json.append(QString::fromStdString(text));
    return json;
}

std::vector<std::string> textsFromJson(const QJsonValue& json) {
    std::vector<std::string> texts;
    for (const QJsonValue& text : json.toArray())
        texts.push_back(text.toString().toStdString());
    return texts;
}

QJsonArray toJson(const std::vector<LinkRecord>& chain) {
    QJsonArray json;
    for (const LinkRecord& link : chain) {
        QJsonObject object{{"filter", QString::fromStdString(link.filter)}};
        if (link.settings)
            object.insert("settings", toJson(*link.settings));
        if (!link.files.empty())
            object.insert("files", toJson(link.files));
        json.append(object);
    }
    return json;
}

std::vector<LinkRecord> chainFromJson(const QJsonValue& json) {
    std::vector<LinkRecord> chain;
    for (const QJsonValue& value : json.toArray()) {
        LinkRecord link{value["filter"].toString().toStdString(), {}, filesFromJson(value["files"])};
        if (value["settings"].isObject())
            link.settings = fileFromJson(value["settings"]);
        chain.push_back(std::move(link));
    }
    return chain;
}

QJsonArray toJson(const std::vector<PartRecord>& parts) {
    QJsonArray json;
    for (const PartRecord& part : parts)
        json.append(QJsonObject{{"path", QString::fromStdString(part.path)},
                                {"begin", static_cast<qint64>(part.begin)},
                                {"end", static_cast<qint64>(part.end)},
                                {"hash", QString::fromStdString(part.hash)}});
    return json;
}

std::vector<PartRecord> partsFromJson(const QJsonValue& json) {
    std::vector<PartRecord> parts;
    for (const QJsonValue& part : json.toArray())
        parts.push_back(
            {part["path"].toString().toStdString(), static_cast<zt::u64>(part["begin"].toInteger()),
             static_cast<zt::u64>(part["end"].toInteger()), part["hash"].toString().toStdString()});
    return parts;
}

void check(const RunRecord& record) {
    if (record.chain.empty() || record.inputs.empty())
        refuse("it has no chain or no inputs");
    for (const LinkRecord& link : record.chain)
        if (link.filter.empty() || link.filter.find('=') != std::string::npos)
            refuse("a filter has no name");
    if (record.datasets.size() != record.inputs.size())
        refuse(QString("it has %1 datasets for %2 inputs")
                   .arg(record.datasets.size())
                   .arg(record.inputs.size()));
    if (record.begin >= record.end)
        refuse(QString("its frames are %1:%2").arg(record.begin).arg(record.end));
    if (record.outputType != "f32" && record.outputType != "f64")
        refuse("\"output_type\" is neither f32 nor f64");
    if (record.acqTime && !(*record.acqTime > 0 && std::isfinite(*record.acqTime)))
        refuse("\"acq_time\" is not above 0");
}

} // namespace

std::string RunRecord::toJson() const {
    QJsonObject json{{"ombrel", QString::fromStdString(version)},
                     {"plugin", ombrel::toJson(plugin)},
                     {"chain", ombrel::toJson(chain)},
                     {"params", ombrel::toJson(params)},
                     {"param_files", ombrel::toJson(paramFiles)},
                     {"inputs", ombrel::toJson(inputs)},
                     {"datasets", ombrel::toJson(datasets)},
                     {"begin", static_cast<qint64>(begin)},
                     {"end", static_cast<qint64>(end)},
                     {"output_type", QString::fromStdString(outputType)},
                     {"replace", replace},
                     {"device_type", deviceType}};
    if (deviceMask)
        json.insert("device_mask", ombrel::toJson(*deviceMask));
    if (acqTime)
        json.insert("acq_time", *acqTime);
    if (!parts.empty())
        json.insert("parts", ombrel::toJson(parts));
    return QJsonDocument(json).toJson().toStdString();
}

RunRecord RunRecord::fromJson(const std::string& text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    if (!document.isObject())
        refuse(error.errorString());
    const QJsonObject json = document.object();
    RunRecord record;
    record.version = json["ombrel"].toString().toStdString();
    record.plugin = fileFromJson(json["plugin"]);
    record.chain = chainFromJson(json["chain"]);
    record.params = textsFromJson(json["params"]);
    record.paramFiles = filesFromJson(json["param_files"]);
    record.inputs = filesFromJson(json["inputs"]);
    record.datasets = textsFromJson(json["datasets"]);
    record.begin = static_cast<zt::u64>(integerFrom(json, "begin", 0, mostFrames));
    record.end = static_cast<zt::u64>(integerFrom(json, "end", 0, mostFrames));
    record.outputType = json["output_type"].toString().toStdString();
    record.replace = json["replace"].toBool();
    record.deviceType = static_cast<int>(
        integerFrom(json, "device_type", std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    if (json["device_mask"].isObject())
        record.deviceMask = fileFromJson(json["device_mask"]);
    if (json.contains("acq_time"))
        record.acqTime = json["acq_time"].toDouble();
    record.parts = partsFromJson(json["parts"]);
    check(record);
    return record;
}

} // namespace ombrel
