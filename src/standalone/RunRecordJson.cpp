#include "standalone/Error.h"
#include "standalone/RunRecord.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace ombrel {

namespace {

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
        throw Error("the record of the run is damaged: " + error.errorString().toStdString());
    const QJsonObject json = document.object();
    RunRecord record;
    record.version = json["ombrel"].toString().toStdString();
    record.plugin = fileFromJson(json["plugin"]);
    record.chain = chainFromJson(json["chain"]);
    record.params = textsFromJson(json["params"]);
    record.paramFiles = filesFromJson(json["param_files"]);
    record.inputs = filesFromJson(json["inputs"]);
    record.datasets = textsFromJson(json["datasets"]);
    record.begin = static_cast<zt::u64>(json["begin"].toInteger());
    record.end = static_cast<zt::u64>(json["end"].toInteger());
    record.outputType = json["output_type"].toString().toStdString();
    record.replace = json["replace"].toBool();
    record.deviceType = json["device_type"].toInt(1);
    if (json["device_mask"].isObject())
        record.deviceMask = fileFromJson(json["device_mask"]);
    if (json["acq_time"].isDouble())
        record.acqTime = json["acq_time"].toDouble();
    record.parts = partsFromJson(json["parts"]);
    return record;
}

} // namespace ombrel
