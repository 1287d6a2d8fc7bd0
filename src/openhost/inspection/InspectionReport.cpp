#include "inspection/InspectionReport.h"

#include "base/AtomicFile.h"
#include "base/Numbers.h"
#include "inspection/InspectionPage.h"
#include "settings/SettingsFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstdio>
#include <string_view>

namespace ombrel {

namespace {

bool hasSuffix(const std::string& path, const char* suffix) {
    return QString::fromStdString(path).endsWith(suffix, Qt::CaseInsensitive);
}

QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// JSON has no NaN.
QJsonValue numberOrNull(double value) {
    return std::isfinite(value) ? QJsonValue(value) : QJsonValue();
}

QJsonObject jsonOf(const Region& region) {
    return {{"x", static_cast<qint64>(region.x)},
            {"y", static_cast<qint64>(region.y)},
            {"width", static_cast<qint64>(region.width)},
            {"height", static_cast<qint64>(region.height)}};
}

QJsonObject jsonOf(const FieldVerdict& field) {
    QJsonObject json{{"file", qt(field.place.file)},
                     {"frame", static_cast<qint64>(field.place.frame)},
                     {"level", numberOrNull(field.level)},
                     {"relativeLevel", numberOrNull(field.relativeLevel)},
                     {"zeroPixels", static_cast<qint64>(field.zero)},
                     {"saturatedPixels", static_cast<qint64>(field.saturated)},
                     {"notFinitePixels", static_cast<qint64>(field.notFinite)},
                     {"verdict", qt(verdictName(field.verdict))},
                     {"reason", qt(field.reason)}};
    if (field.structure) {
        json["structureSigma"] = numberOrNull(*field.structure);
        json["worstTile"] = jsonOf(field.worstTile);
    }
    return json;
}

QJsonObject jsonOf(const FieldDrift& drift) {
    return {{"level", numberOrNull(drift.level)},
            {"levelIsSignificant", drift.isLevel},
            {"pattern", numberOrNull(drift.pattern)},
            {"patternIsSignificant", drift.isPattern},
            {"patternTile", jsonOf(drift.tile)}};
}

QJsonObject jsonOf(const InspectionReport& report) {
    QJsonArray fields;
    for (const FieldVerdict& field : report.fields)
        fields.append(jsonOf(field));
    QJsonObject json{{"set", qt(report.name)},
                     {"width", static_cast<qint64>(report.width)},
                     {"height", static_cast<qint64>(report.height)},
                     {"medianLevel", numberOrNull(report.medianLevel)},
                     {"good", static_cast<qint64>(report.goodCount())},
                     {"frames", fields}};
    if (report.unjudged.empty()) {
        json["noise"] = report.noise;
        json["structureLimit"] = report.structureLimit;
    } else {
        json["structureNotJudged"] = qt(report.unjudged);
    }
    if (report.drift)
        json["drift"] = jsonOf(*report.drift);
    return json;
}

} // namespace

bool isReportPath(const std::string& path) {
    return hasSuffix(path, ".json") || hasSuffix(path, ".html");
}

bool needsThumbnails(const std::string& path) {
    return hasSuffix(path, ".html");
}

void writeInspection(const std::string& path, const std::vector<InspectionReport>& reports) {
    if (needsThumbnails(path))
        return replaceFile(path, inspectionPage(reports));
    QJsonArray sets;
    for (const InspectionReport& report : reports)
        sets.append(jsonOf(report));
    writeJsonFile(path, {{"sets", sets}});
}

std::string inspectionJson(const std::vector<InspectionReport>& reports) {
    QJsonArray frames;
    for (const InspectionReport& report : reports)
        for (const FieldVerdict& field : report.fields)
            frames.append(QJsonObject{{"set", qt(report.name)},
                                      {"file", qt(field.place.file)},
                                      {"frame", static_cast<qint64>(field.place.frame)},
                                      {"level", numberOrNull(field.level)},
                                      {"verdict", qt(verdictName(field.verdict))}});
    return QJsonDocument(frames).toJson(QJsonDocument::Compact).toStdString();
}

std::string inspectionTable(const InspectionReport& report) {
    char line[256];
    std::snprintf(line, sizeof line, "%s: %zu of %zu good, median level %.6g\n", report.name.c_str(),
                  report.goodCount(), report.fields.size(), report.medianLevel);
    std::string text = line;
    text += "   frame      level  of median      zero saturated  notfinite  structure  verdict\n";
    for (const FieldVerdict& field : report.fields) {
        char sigma[24] = "-";
        if (field.structure)
            std::snprintf(sigma, sizeof sigma, "%.1f", std::abs(*field.structure));
        std::snprintf(line, sizeof line, "%8u %10.6g %9.2f %% %9llu %9llu %10llu %10s  ", field.place.frame,
                      field.level, 100 * field.relativeLevel, static_cast<unsigned long long>(field.zero),
                      static_cast<unsigned long long>(field.saturated),
                      static_cast<unsigned long long>(field.notFinite), sigma);
        text += line;
        text += field.reason.empty() ? "good" : field.reason;
        text += "  " + field.place.file + '\n';
    }
    return text;
}

std::string inspectionNote(const SettingsTree& settings) {
    const SettingsValue* const value = settings.find(ownGroup, inspectionKey);
    const auto* const text = std::get_if<std::string>(value);
    if (!text)
        return {};
    if (filterGroupsOf(settings) != FilterGroups::AsCalibrated)
        return "the filter's settings were changed since the calibration; its verdicts on flat fields no "
               "longer apply";
    const QJsonArray frames = QJsonDocument::fromJson(QByteArray::fromStdString(*text)).array();
    qsizetype good = 0;
    for (const QJsonValue& frame : frames)
        good += frame["verdict"].toString() == "good";
    return std::to_string(good) + " of " + countText(static_cast<zt::u64>(frames.size()), "frame") +
           " of the calibration were good";
}

} // namespace ombrel
