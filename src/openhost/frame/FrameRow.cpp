#include "frame/FrameRow.h"

#include "base/FileContent.h"
#include "base/Numbers.h"

#include <QJsonArray>

#include <cmath>

namespace ombrel {

namespace {

void insertNumber(QJsonObject& json, const QString& key, double number) {
    if (std::isfinite(number))
        json.insert(key, number);
}

double numberOf(const QJsonObject& json, const QString& key) {
    return json.value(key).toDouble(notANumber);
}

QJsonObject toJson(const FrameStatistics& figures) {
    QJsonObject json;
    insertNumber(json, "mean", figures.mean);
    insertNumber(json, "spread", figures.spread);
    json.insert("zero_pixels", static_cast<qint64>(figures.zeroPixels));
    json.insert("not_finite", static_cast<qint64>(figures.notFinite));
    return json;
}

FrameStatistics figuresFromJson(const QJsonObject& json) {
    return {numberOf(json, "mean"), numberOf(json, "spread"),
            static_cast<zt::u64>(json.value("zero_pixels").toInteger()),
            static_cast<zt::u64>(json.value("not_finite").toInteger())};
}

QJsonObject toJson(const ScoredPoint& point) {
    QJsonObject json;
    insertNumber(json, "v", point.v);
    insertNumber(json, "t", point.t);
    insertNumber(json, "e", point.e);
    insertNumber(json, "value", point.value);
    return json;
}

ScoredPoint pointFromJson(const QJsonObject& json) {
    return {numberOf(json, "v"), numberOf(json, "t"), numberOf(json, "e"), numberOf(json, "value")};
}

void insertHash(QJsonObject& json, const QString& key, zt::u64 hash) {
    if (hash != 0)
        json.insert(key, QString::fromStdString(hashText(hash)));
}

zt::u64 hashOf(const QJsonObject& json, const QString& key) {
    return json.value(key).toString().toULongLong(nullptr, 16);
}

} // namespace

std::string sidesText(GridSides sides) {
    constexpr const char* names[] = {"V below", "V above", "T below", "T above", "E below", "E above"};
    std::string text;
    for (unsigned bit = 0; bit < std::size(names); ++bit)
        if ((sides >> bit & 1u) != 0)
            text += (text.empty() ? "" : ", ") + std::string(names[bit]);
    return text;
}

QJsonObject toJson(const FrameRow& row) {
    QJsonObject json;
    insertHash(json, "input_hash", row.inputHash);
    insertHash(json, "output_hash", row.outputHash);
    if (row.marked != 0)
        json.insert("marked", static_cast<qint64>(row.marked));
    if (row.clipped != 0)
        json.insert("clipped", static_cast<qint64>(row.clipped));
    json.insert("input", toJson(row.input));
    if (row.failed)
        json.insert("failed", QString::fromStdString(row.reason));
    else
        json.insert("output", toJson(row.output));
    insertNumber(json, "seconds", row.seconds);
    if (row.level)
        insertNumber(json, "level", *row.level);
    if (row.notPositive != 0)
        json.insert("not_positive", static_cast<qint64>(row.notPositive));
    if (row.choice) {
        json.insert("grid", toJson(row.choice->best));
        json.insert("grid_next", toJson(row.choice->next));
        json.insert("grid_ambiguous", row.choice->ambiguous);
        if (row.choice->outside != 0) {
            json.insert("grid_outside", QString::fromStdString(sidesText(row.choice->outside)));
            json.insert("grid_outside_sides", row.choice->outside);
        }
    }
    return json;
}

FrameRow frameRowFromJson(const QJsonObject& json) {
    FrameRow row;
    row.failed = json.contains("failed");
    row.reason = json.value("failed").toString().toStdString();
    row.inputHash = hashOf(json, "input_hash");
    row.outputHash = hashOf(json, "output_hash");
    row.marked = static_cast<zt::u64>(json.value("marked").toInteger());
    row.clipped = static_cast<zt::u64>(json.value("clipped").toInteger());
    row.input = figuresFromJson(json.value("input").toObject());
    row.output = figuresFromJson(json.value("output").toObject());
    row.seconds = json.value("seconds").toDouble();
    if (json.contains("level"))
        row.level = numberOf(json, "level");
    row.notPositive = static_cast<zt::u64>(json.value("not_positive").toInteger());
    if (json.contains("grid"))
        row.choice = SelectedFlatField{pointFromJson(json.value("grid").toObject()),
                                       pointFromJson(json.value("grid_next").toObject()),
                                       json.value("grid_ambiguous").toBool(),
                                       static_cast<GridSides>(json.value("grid_outside_sides").toInt())};
    return row;
}

} // namespace ombrel
