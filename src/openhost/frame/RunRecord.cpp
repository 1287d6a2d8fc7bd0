#include "frame/RunRecord.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <limits>
#include <sys/stat.h>

namespace ombrel {

namespace {

std::string timeText(const timespec& time) {
    std::tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%09ldZ", date, time.tv_nsec);
    return text;
}

} // namespace

FileRecord FileRecord::of(const std::string& path, bool withHash) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw Error(systemErrorText(path, "cannot be read", errno));
    if (!S_ISREG(status.st_mode)) // opening a pipe would block the program
        throw Error(path + ": is not a regular file");
    return {absolutePath(path), static_cast<zt::u64>(status.st_size), timeText(status.st_mtim),
            withHash ? fileHash(path) : std::string()};
}

std::string FileRecord::changeSince(const FileRecord& before) const {
    if (bytes != before.bytes)
        return "it has " + std::to_string(bytes) + " bytes, it had " + std::to_string(before.bytes);
    const bool haveHashes = !hash.empty() && !before.hash.empty();
    if (haveHashes && hash != before.hash)
        return "its contents have changed";
    if (!haveHashes && modified != before.modified)
        return "it was written at " + modified + ", before at " + before.modified;
    return {};
}

std::string absolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

namespace {

class Differences {
public:
    void text(const std::string& what, const std::string& now, const std::string& before) {
        if (now != before)
            lines.push_back(what + ": " + now + " now, " + before + " before");
    }

    void file(const std::string& what, const FileRecord& now, const FileRecord& before) {
        if (now.path != before.path)
            text(what, now.path, before.path);
        else if (const std::string change = now.changeSince(before); !change.empty())
            lines.push_back(what + " " + now.path + ": " + change);
    }

    void files(const std::string& what, const std::vector<FileRecord>& now,
               const std::vector<FileRecord>& before) {
        text("number of " + what + "s", std::to_string(now.size()), std::to_string(before.size()));
        if (now.size() == before.size())
            for (std::size_t i = 0; i < now.size(); ++i)
                file(what, now[i], before[i]);
    }

    void file(const std::string& what, const std::optional<FileRecord>& now,
              const std::optional<FileRecord>& before) {
        if (now && before)
            file(what, *now, *before);
        else
            text(what, now ? now->path : "none", before ? before->path : "none");
    }

    std::vector<std::string> lines;
};

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all.empty() ? "none" : all;
}

std::string chainText(const std::vector<LinkRecord>& chain) {
    std::vector<std::string> names;
    for (const LinkRecord& link : chain)
        names.push_back(link.filter);
    return joined(names);
}

std::string timeText(const std::optional<double>& seconds) {
    return seconds ? numberText(*seconds) + " s" : "as in the files";
}

std::string scaleText(const std::optional<std::array<double, 2>>& scale) {
    return scale ? numberText((*scale)[0]) + ',' + numberText((*scale)[1]) : "none";
}

} // namespace

std::vector<std::string> RunRecord::differencesFrom(const RunRecord& before) const {
    Differences found;
    found.text("version of ombrel", version, before.version);
    found.file("plug-in", plugin, before.plugin);
    found.text("chain", chainText(chain), chainText(before.chain));
    if (chainText(chain) == chainText(before.chain))
        for (std::size_t i = 0; i < chain.size(); ++i) {
            found.file("settings", chain[i].settings, before.chain[i].settings);
            found.files("calibration file", chain[i].files, before.chain[i].files);
        }
    found.text("parameters", joined(params), joined(before.params));
    found.files("file of a parameter", paramFiles, before.paramFiles);
    found.files("input", inputs, before.inputs);
    found.text("datasets", joined(datasets), joined(before.datasets));
    const auto range = [](const RunRecord& record) {
        return std::to_string(record.begin) + ":" + std::to_string(record.end);
    };
    found.text("frames", range(*this), range(before));
    found.text("output type", outputType, before.outputType);
    found.text("scale", scaleText(scale), scaleText(before.scale));
    found.text("correction", replace ? "in place" : "of a copy", before.replace ? "in place" : "of a copy");
    found.text("type of the device", std::to_string(deviceType), std::to_string(before.deviceType));
    found.file("device mask", deviceMask, before.deviceMask);
    if (deviceMask && before.deviceMask)
        found.text("pixels of the device mask", maskHash, before.maskHash);
    found.text("marks", marks + (keepNan ? ", kept as NaN" : ""),
               before.marks + (before.keepNan ? ", kept as NaN" : ""));
    found.text("acquisition time", timeText(acqTime), timeText(before.acqTime));
    found.text("standard deviations", sigma, before.sigma);
    const auto gainText = [](const std::optional<double>& given) {
        return given ? numberText(*given) : std::string("none given");
    };
    found.text("gain", gainText(gain), gainText(before.gain));
    found.text("quantity", quantity, before.quantity);
    found.text("level region", levelRegion.empty() ? "none" : levelRegion,
               before.levelRegion.empty() ? "none" : before.levelRegion);
    found.text("dark frames", dark, before.dark);
    found.files("file of dark frames", darkFiles, before.darkFiles);
    found.text("pixels of the dark", darkHash.empty() ? "none" : darkHash,
               before.darkHash.empty() ? "none" : before.darkHash);
    return found.lines;
}

namespace {

constexpr qint64 mostFrames = qint64{1} << 53; // up to this value a JSON number is exact

// A record may have been edited or damaged: only values that a run can have written are accepted.
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

QJsonObject jsonOf(const FileRecord& file) {
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

QJsonArray jsonOf(const std::vector<FileRecord>& files) {
    QJsonArray json;
    for (const FileRecord& file : files)
        json.append(jsonOf(file));
    return json;
}

std::vector<FileRecord> filesFromJson(const QJsonValue& json) {
    std::vector<FileRecord> files;
    for (const QJsonValue& file : json.toArray())
        files.push_back(fileFromJson(file));
    return files;
}

QJsonArray jsonOf(const std::vector<std::string>& texts) {
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

QJsonArray jsonOf(const std::vector<LinkRecord>& chain) {
    QJsonArray json;
    for (const LinkRecord& link : chain) {
        QJsonObject object{{"filter", QString::fromStdString(link.filter)}};
        if (link.settings)
            object.insert("settings", jsonOf(*link.settings));
        if (!link.files.empty())
            object.insert("files", jsonOf(link.files));
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

QJsonArray jsonOf(const std::vector<PartRecord>& parts) {
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
    const bool isPacked = record.outputType == "u16" || record.outputType == "f16";
    if (record.outputType != "f32" && record.outputType != "f64" && !isPacked)
        refuse("\"output_type\" is neither f32, f64, u16 nor f16");
    if (record.scale && !isPacked)
        refuse("\"scale\" does not go with \"output_type\"");
    if (record.sigma != "none" && record.sigma != "total" && record.sigma != "calibration")
        refuse("\"sigma\" is neither none, total nor calibration");
    if (record.gain && !(*record.gain > 0 && std::isfinite(*record.gain)))
        refuse("\"gain\" is not above 0");
    if (record.acqTime && !(*record.acqTime > 0 && std::isfinite(*record.acqTime)))
        refuse("\"acq_time\" is not above 0");
}

} // namespace

std::string RunRecord::toJson() const {
    QJsonObject json{{"ombrel", QString::fromStdString(version)},
                     {"plugin", jsonOf(plugin)},
                     {"chain", jsonOf(chain)},
                     {"params", jsonOf(params)},
                     {"param_files", jsonOf(paramFiles)},
                     {"inputs", jsonOf(inputs)},
                     {"datasets", jsonOf(datasets)},
                     {"begin", static_cast<qint64>(begin)},
                     {"end", static_cast<qint64>(end)},
                     {"output_type", QString::fromStdString(outputType)},
                     {"replace", replace},
                     {"device_type", deviceType}};
    if (deviceMask) {
        QJsonObject mask = jsonOf(*deviceMask);
        if (!maskDataset.empty())
            mask.insert("dataset", QString::fromStdString(maskDataset));
        if (!maskConvention.empty())
            mask.insert("convention", QString::fromStdString(maskConvention));
        mask.insert("mask_hash", QString::fromStdString(maskHash));
        json.insert("device_mask", mask);
    }
    json.insert("marks", QString::fromStdString(marks));
    if (keepNan)
        json.insert("keep_nan", true);
    if (scale)
        json.insert("scale", QJsonArray{(*scale)[0], (*scale)[1]});
    if (acqTime)
        json.insert("acq_time", *acqTime);
    if (sigma != "none")
        json.insert("sigma", QString::fromStdString(sigma));
    if (gain)
        json.insert("gain", *gain);
    if (quantity != "counts")
        json.insert("quantity", QString::fromStdString(quantity));
    if (!levelRegion.empty())
        json.insert("level_region", QString::fromStdString(levelRegion));
    if (dark != "auto")
        json.insert("dark", QString::fromStdString(dark));
    if (!darkFiles.empty())
        json.insert("dark_files", jsonOf(darkFiles));
    if (!darkHash.empty())
        json.insert("dark_hash", QString::fromStdString(darkHash));
    if (!parts.empty())
        json.insert("parts", jsonOf(parts));
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
    if (const QJsonValue mask = json["device_mask"]; mask.isObject()) {
        record.deviceMask = fileFromJson(mask);
        record.maskDataset = mask["dataset"].toString().toStdString();
        record.maskConvention = mask["convention"].toString().toStdString();
        record.maskHash = mask["mask_hash"].toString().toStdString();
    }
    record.marks = json["marks"].toString("none").toStdString();
    record.keepNan = json["keep_nan"].toBool();
    if (const QJsonArray scale = json["scale"].toArray(); !scale.isEmpty())
        record.scale = {scale[0].toDouble(), scale[1].toDouble()};
    if (json.contains("acq_time"))
        record.acqTime = json["acq_time"].toDouble();
    record.sigma = json["sigma"].toString("none").toStdString();
    if (json.contains("gain"))
        record.gain = json["gain"].toDouble();
    record.quantity = json["quantity"].toString("counts").toStdString();
    record.levelRegion = json["level_region"].toString().toStdString();
    record.dark = json["dark"].toString("auto").toStdString();
    record.darkFiles = filesFromJson(json["dark_files"]);
    record.darkHash = json["dark_hash"].toString().toStdString();
    record.parts = partsFromJson(json["parts"]);
    check(record);
    return record;
}

} // namespace ombrel
