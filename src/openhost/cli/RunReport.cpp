#include "cli/RunReport.h"

#include "base/JsonFile.h"
#include "frame/FrameRowJson.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace ombrel::cli {

void writeReport(const std::string& path, const RunReport& report) {
    QJsonArray frames;
    qint64 failed = 0;
    for (std::size_t i = 0; i < report.rows.size(); ++i) {
        QJsonObject frame = toJson(report.rows[i]);
        frame.insert("frame", static_cast<qint64>(report.begin + i));
        frames.append(frame);
        failed += report.rows[i].failed;
    }
    QJsonArray remarks;
    for (const RunNotes::Kind& kind : report.kinds) {
        QJsonArray numbers;
        for (const zt::u64 frame : kind.frames)
            numbers.append(static_cast<qint64>(frame));
        remarks.append(QJsonObject{{"kind", QString::fromStdString(kind.name)}, {"frames", numbers}});
    }
    const QJsonObject json{
        {"output", QString::fromStdString(report.output)},
        {"record", QJsonDocument::fromJson(QByteArray::fromStdString(report.record)).object()},
        {"masked_pixels", static_cast<qint64>(report.maskedPixels)},
        {"corrected", static_cast<qint64>(report.rows.size()) - failed},
        {"failed", failed},
        {"remarks", remarks},
        {"frames", frames},
    };
    writeJsonFile(path, json);
}

} // namespace ombrel::cli
