#include "inspection/InspectionPage.h"

#include "base/Numbers.h"
#include "frame/PreviewImage.h"

#include <QBuffer>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

namespace ombrel {

namespace {

constexpr double ratioReach = 0.05;
constexpr int plotWidth = 640;
constexpr int plotHeight = 160;
constexpr int plotMargin = 8;

constexpr const char* pageHead =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Flat fields</title><style>\n"
    "body{font-family:sans-serif;margin:2em;color:#222}table{border-collapse:collapse}\n"
    "td,th{padding:4px 10px;text-align:right;border-bottom:1px solid #ddd}td.text,th.text{text-align:left}\n"
    "tr.bad{background:#fbe9e7}img{image-rendering:pixelated;display:block}svg{border:1px solid #ddd}\n"
    "</style></head><body>\n<h1>Flat fields</h1>\n";

std::string escaped(const std::string& text) {
    return QString::fromStdString(text).toHtmlEscaped().toStdString();
}

std::string formatted(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string imageTag(const QImage& picture) {
    if (picture.isNull())
        return {};
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    return "<img alt=\"\" src=\"data:image/png;base64," + png.toBase64().toStdString() + "\">";
}

// The level of each frame relative to the median; frames that are not good in red.
std::string levelPlot(const InspectionReport& report) {
    double high = 1.05, low = 0.95;
    for (const FieldVerdict& field : report.fields)
        if (std::isfinite(field.relativeLevel)) {
            high = std::max(high, field.relativeLevel);
            low = std::min(low, field.relativeLevel);
        }
    const auto y = [&](double level) {
        return plotMargin + (plotHeight - 2 * plotMargin) * (high - level) / (high - low);
    };
    std::string svg = "<svg width=\"" + std::to_string(plotWidth) + "\" height=\"" +
                      std::to_string(plotHeight) + "\"><line x1=\"0\" x2=\"" + std::to_string(plotWidth) +
                      "\" y1=\"" + formatted("%.1f", y(1)) + "\" y2=\"" + formatted("%.1f", y(1)) +
                      "\" stroke=\"#999\"/>";
    const auto count = static_cast<double>(report.fields.size());
    for (std::size_t i = 0; i < report.fields.size(); ++i)
        if (const FieldVerdict& field = report.fields[i]; std::isfinite(field.relativeLevel)) {
            const double x =
                plotMargin + (plotWidth - 2 * plotMargin) * (static_cast<double>(i) + 0.5) / count;
            svg += "<circle cx=\"" + formatted("%.1f", x) + "\" cy=\"" +
                   formatted("%.1f", y(field.relativeLevel)) + "\" r=\"3\" fill=\"" +
                   (field.verdict == Verdict::Good ? "#1565c0" : "#c62828") + "\"><title>" +
                   escaped(field.place.text()) + "</title></circle>";
        }
    return svg + "</svg>";
}

std::string rowOf(const InspectionReport& report, const FieldVerdict& field,
                  const std::vector<double>& mean) {
    const bool isGood = field.verdict == Verdict::Good;
    std::string row = isGood ? "<tr>" : "<tr class=\"bad\">";
    row += "<td class=\"text\">" + escaped(field.place.file) + "</td><td>" +
           std::to_string(field.place.frame) + "</td><td>" + imageTag(thumbnailPicture(report, field, mean)) +
           "</td><td>" + imageTag(ratioPicture(field, mean)) + "</td><td>" + formatted("%.6g", field.level) +
           "</td><td>" + formatted("%.2f %%", 100 * field.relativeLevel) + "</td><td>" +
           std::to_string(field.zero) + "</td><td>" + std::to_string(field.saturated) + "</td><td>" +
           std::to_string(field.notFinite) + "</td><td>" +
           (field.structure ? formatted("%.1f", std::abs(*field.structure)) : "") +
           "</td><td class=\"text\">" + (isGood ? "good" : escaped(field.reason)) + "</td></tr>\n";
    return row;
}

std::string driftText(const FieldDrift& drift) {
    std::string text = "<p>Change from the first good frame to the last: level " +
                       formatted("%+.3g %%", 100 * drift.level) + (drift.isLevel ? "" : " (not significant)");
    if (drift.pattern != 0)
        text += ", pattern " + formatted("%+.3g %%", 100 * drift.pattern) + " near x " +
                std::to_string(drift.tile.x + drift.tile.width / 2) + " y " +
                std::to_string(drift.tile.y + drift.tile.height / 2) +
                (drift.isPattern ? "" : " (not significant)");
    return text + ".</p>\n";
}

std::string sectionOf(const InspectionReport& report) {
    std::string text = "<h2>" + escaped(report.name) + "</h2>\n<p>" + std::to_string(report.goodCount()) +
                       " of " + std::to_string(report.fields.size()) + " good, median level " +
                       formatted("%.6g", report.medianLevel) + ". ";
    text += report.unjudged.empty()
                ? "Limit of structure: " + formatted("%.2f", report.structureLimit) +
                      " sigma; noise: " + formatted("%.3g", report.noise) + " times photon statistics.</p>\n"
                : "Structure cannot be judged: " + escaped(report.unjudged) + ".</p>\n";
    if (report.drift)
        text += driftText(*report.drift);
    text += "<h3>Level over the frames</h3>\n" + levelPlot(report) +
            "\n<table><tr><th class=\"text\">file</th><th>frame</th><th>picture</th><th>over the mean</th>"
            "<th>level</th><th>of median</th><th>zero</th><th>saturated</th><th>not finite</th>"
            "<th>structure</th><th class=\"text\">verdict</th></tr>\n";
    const std::vector<double> mean = meanThumbnail(report);
    for (const FieldVerdict& field : report.fields)
        text += rowOf(report, field, mean);
    return text + "</table>\n";
}

} // namespace

std::vector<double> meanThumbnail(const InspectionReport& report) {
    std::vector<double> mean, counts;
    for (const FieldVerdict& field : report.fields) {
        const std::vector<double>& pixels = field.thumbnail.pixels;
        if (field.verdict != Verdict::Good)
            continue;
        mean.resize(std::max(mean.size(), pixels.size()));
        counts.resize(mean.size());
        for (std::size_t i = 0; i < pixels.size(); ++i)
            if (std::isfinite(pixels[i])) {
                mean[i] += pixels[i];
                counts[i] += 1;
            }
    }
    std::ranges::transform(mean, counts, mean.begin(), std::divides()); // 0 / 0 is NaN
    return mean;
}

QImage thumbnailPicture(const InspectionReport& report, const FieldVerdict& field,
                        const std::vector<double>& mean) {
    const FieldThumbnail& thumbnail = field.thumbnail;
    if (thumbnail.pixels.empty())
        return {};
    QImage picture =
        greyImage(thumbnail.pixels, thumbnail.width, robustLimits(mean.empty() ? thumbnail.pixels : mean));
    if (field.verdict == Verdict::Structure) {
        const double scale = static_cast<double>(thumbnail.width) / report.width;
        const Region& tile = field.worstTile;
        QPainter painter(&picture);
        painter.setPen(QColor(255, 40, 40));
        painter.drawRect(QRectF(tile.x * scale, tile.y * scale, std::max(2.0, tile.width * scale - 1),
                                std::max(2.0, tile.height * scale - 1)));
    }
    return picture;
}

QImage ratioPicture(const FieldVerdict& field, const std::vector<double>& mean) {
    const std::vector<double>& pixels = field.thumbnail.pixels;
    if (pixels.empty() || mean.size() != pixels.size())
        return {};
    double sum = 0, meanSum = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i)
        if (std::isfinite(pixels[i]) && std::isfinite(mean[i])) {
            sum += pixels[i];
            meanSum += mean[i];
        }
    const double level = sum / meanSum;
    std::vector<double> ratio(pixels.size());
    for (std::size_t i = 0; i < ratio.size(); ++i)
        ratio[i] = mean[i] <= 0 || !(level > 0) ? 0 : pixels[i] / mean[i] / level;
    return greyImage(ratio, field.thumbnail.width, {1 - ratioReach, 1 + ratioReach});
}

std::string inspectionPage(const std::vector<InspectionReport>& reports) {
    std::string page = pageHead;
    for (const InspectionReport& report : reports)
        page += sectionOf(report);
    return page + "</body></html>\n";
}

} // namespace ombrel
