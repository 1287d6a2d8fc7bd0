#include "standalone/TiffRecord.h"

#include "host/DataType.h"
#include "standalone/Error.h"
#include "standalone/FileDescriptor.h"
#include "standalone/FrameFile.h"
#include "standalone/FrameRowJson.h"
#include "standalone/PixelType.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <span>
#include <vector>

namespace ombrel {

namespace {

QByteArray contentsOf(const std::string& path) {
    const FileDescriptor file = FileDescriptor::openForReading(path);
    QByteArray bytes(static_cast<qsizetype>(file.size()), Qt::Uninitialized);
    file.readAt(0, std::as_writable_bytes(std::span(bytes.data(), static_cast<std::size_t>(bytes.size()))));
    return bytes;
}

std::span<const std::byte> bytesOf(const QByteArray& text) {
    return std::as_bytes(std::span(text.data(), static_cast<std::size_t>(text.size())));
}

QJsonObject planJson(const OutputPlan& plan) {
    return {{"width", static_cast<qint64>(plan.width)},
            {"height", static_cast<qint64>(plan.height)},
            {"frames", static_cast<qint64>(plan.frames)},
            {"type", QString::fromLatin1(pixelTypeName(plan.pixelType))}};
}

QJsonObject readJson(const std::string& output) {
    const std::string path = TiffRecord::pathFor(output);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(contentsOf(path), &error);
    if (!document.isObject() || !document["record"].isObject())
        throw Error(path + ": is no record of an output: " +
                    (document.isNull() ? error.errorString().toStdString() : "it has no \"record\""));
    return document.object();
}

} // namespace

std::string TiffRecord::pathFor(const std::string& output) {
    return output + ".ombrel.json";
}

TiffRecord::TiffRecord(const OutputPlan& plan) : path{pathFor(plan.path)} {
    json.insert("record", QJsonDocument::fromJson(QByteArray::fromStdString(plan.record)).object());
    json.insert("output", planJson(plan));
    QJsonArray files;
    for (const std::string& file : plan.settingsFiles)
        files.append(QString::fromLatin1(contentsOf(file).toBase64()));
    json.insert("settings", files);
    json.insert("complete", false);
}

TiffRecord::TiffRecord(const OutputState& state)
    : path{pathFor(state.plan.path)}, json{readJson(state.plan.path)} {
    json.remove("frames");
    for (const FrameRow& row : state.rows)
        appendRow(row);
}

OutputState TiffRecord::read(const std::string& output) {
    const QJsonObject json = readJson(output);
    const QJsonObject plan = json.value("output").toObject();
    OutputState state;
    state.plan.path = output;
    state.plan.width = static_cast<zt::u32>(plan.value("width").toInteger());
    state.plan.height = static_cast<zt::u32>(plan.value("height").toInteger());
    state.plan.frames = static_cast<zt::u64>(plan.value("frames").toInteger());
    state.plan.pixelType = plan.value("type") == "f64" ? zt::DT_DOUBLE : zt::DT_FLOAT;
    state.plan.record =
        QJsonDocument(json.value("record").toObject()).toJson(QJsonDocument::Compact).toStdString();
    state.complete = json.value("complete").toBool();

    const FrameFileInfo pages = FrameFile::open(output)->info();
    if (pages.width != state.plan.width || pages.height != state.plan.height ||
        pages.pixelType != state.plan.pixelType || pages.frames > state.plan.frames)
        throw Error(output + ": is not the output that " + pathFor(output) + " tells of");
    for (const QJsonValue& row : json.value("frames").toArray())
        if (state.rows.size() < pages.frames)
            state.rows.push_back(frameRowFromJson(row.toObject()));
    state.framesDone = state.rows.size();
    return state;
}

std::string TiffRecord::settings(const std::string& output, std::size_t index) {
    const QJsonArray files = readJson(output).value("settings").toArray();
    return QByteArray::fromBase64(files.at(static_cast<qsizetype>(index)).toString().toLatin1())
        .toStdString();
}

void TiffRecord::appendRow(const FrameRow& row) {
    if (rowsEnd > rowsBegin || !newRows.isEmpty())
        newRows += ",\n";
    newRows += QJsonDocument(toJson(row)).toJson(QJsonDocument::Compact);
}

void TiffRecord::add(const FrameRow& row) {
    appendRow(row);
    if (Clock::now() >= nextWrite)
        write();
}

void TiffRecord::setComplete() {
    json.insert("complete", true);
}

void TiffRecord::copyRows(AtomicFile& file) const {
    std::vector<std::byte> piece(std::size_t{1} << 20);
    for (zt::u64 at = rowsBegin; at < rowsEnd; at += piece.size()) {
        piece.resize(std::min<zt::u64>(piece.size(), rowsEnd - at));
        written->readAt(at, piece);
        file.write(piece);
    }
}

void TiffRecord::write() {
    // A long record is written more rarely, so that writing it takes a small part of the time.
    constexpr auto shortest = std::chrono::seconds(2);
    constexpr int share = 20;
    const auto start = Clock::now();
    QByteArray head = QJsonDocument(json).toJson(QJsonDocument::Compact);
    head.chop(1); // the brace, behind which the rows come
    head += ",\"frames\":[\n";
    AtomicFile file(path);
    file.write(bytesOf(head));
    if (written)
        copyRows(file);
    file.write(bytesOf(newRows));
    file.write(bytesOf("\n]}\n"));
    file.commit();
    written = std::make_unique<FileDescriptor>(FileDescriptor::openForReading(path));
    rowsEnd = static_cast<zt::u64>(head.size() + newRows.size()) + (rowsEnd - rowsBegin);
    rowsBegin = static_cast<zt::u64>(head.size());
    newRows.clear();
    const auto end = Clock::now();
    nextWrite = end + std::max<Clock::duration>(shortest, share * (end - start));
}

} // namespace ombrel
