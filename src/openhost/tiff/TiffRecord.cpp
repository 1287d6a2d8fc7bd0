#include "tiff/TiffRecord.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "frame/FrameFile.h"
#include "frame/FrameRow.h"
#include "frame/PixelType.h"
#include "tiff/TiffLayout.h"
#include "tiff/TiffPage.h"
#include "zt/Types.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <span>
#include <unistd.h>
#include <vector>

namespace ombrel {

namespace {

// A record holds the settings of its run: two links with 128 MiB of coefficients each take 460 MiB.
constexpr zt::u64 mostRecordBytes = zt::u64{1} << 30;

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
    QJsonObject json{{"width", static_cast<qint64>(plan.width)},
                     {"height", static_cast<qint64>(plan.height)},
                     {"frames", static_cast<qint64>(plan.frames)},
                     {"type", plan.packing ? QString(plan.packing->typeName())
                                           : QString::fromLatin1(pixelTypeName(plan.pixelType))}};
    if (plan.packing) {
        json.insert("scale_factor", plan.packing->scale);
        json.insert("add_offset", plan.packing->offset);
    }
    if (!plan.tags.isEmpty())
        json.insert("tags", plan.tags.toJson());
    return json;
}

void readTypeFrom(const QJsonObject& json, OutputPlan& plan) {
    const QString type = json.value("type").toString();
    plan.pixelType = type == "f64" ? zt::DT_DOUBLE : zt::DT_FLOAT;
    if (type != "u16" && type != "f16")
        return;
    plan.pixelType = zt::DT_U16;
    plan.packing = PixelPacking{.isHalf = type == "f16",
                                .scale = json.value("scale_factor").toDouble(1),
                                .offset = json.value("add_offset").toDouble()};
}

// The type in which a file of that plan is read.
zt::u8 typeRead(const OutputPlan& plan) {
    const bool isPlainHalf =
        plan.packing && plan.packing->isHalf && plan.packing->scale == 1 && plan.packing->offset == 0;
    if (isPlainHalf)
        return zt::DT_FLOAT;
    return plan.packing ? zt::u8{zt::DT_DOUBLE} : plan.pixelType;
}

// Most pixels are good: the map takes little room when compressed.
QString textOf(const std::vector<zt::u32>& touched) {
    const QByteArray bytes(reinterpret_cast<const char*>(touched.data()),
                           static_cast<qsizetype>(touched.size() * sizeof(zt::u32)));
    return QString::fromLatin1(qCompress(bytes).toBase64());
}

QJsonObject readJson(const std::string& output) {
    const std::string path = TiffRecord::pathFor(output);
    if (FileDescriptor::openForReading(path).size() > mostRecordBytes)
        throw Error(path + ": is not a record of an output: it exceeds 1 GiB");
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(contentsOf(path), &error);
    if (!document.isObject() || !document["record"].isObject())
        throw Error(path + ": is not a record of an output: " +
                    (document.isNull() ? error.errorString().toStdString() : "it has no \"record\""));
    return document.object();
}

// An unnamed file for the rows, which is deleted when closed.
FileDescriptor makeRowsFile(const std::string& recordPath) {
    const std::string path = hiddenBeside(endOfLinks(recordPath), ".rows");
    ::unlink(path.c_str()); // left by a killed run; this run holds the lock of the output
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600),
                        recordPath);
    if (file.get() < 0)
        throw Error(systemErrorText(recordPath, "cannot be written", errno));
    ::unlink(path.c_str());
    return file;
}

std::string runIn(const QJsonObject& json) {
    return json.value("run").toString().toStdString();
}

std::string recordHash(const std::string& record) {
    return hashText(pixelHash(std::as_bytes(std::span(record))));
}

std::string newRunName(const std::string& record) {
    std::random_device random;
    return recordHash(record) + "-" + hashText(zt::u64{random()} << 32 | random());
}

} // namespace

std::string TiffRecord::pathFor(const std::string& output) {
    return output + ".ombrel.json";
}

std::string TiffRecord::runOf(const std::string& output) {
    const TiffHandle tiff(output);
    char* software = nullptr;
    const std::string prefix = TiffLayout::runPrefix;
    if (TIFFGetField(tiff.get(), TIFFTAG_SOFTWARE, &software) != 1 || !software)
        return {};
    const std::string text = software;
    if (!text.starts_with(prefix))
        return {};
    return text.substr(prefix.size(), text.find(TiffLayout::afterRun) - prefix.size());
}

bool TiffRecord::isMissing(const std::string& output, const std::string& record) {
    const std::string run = runOf(output);
    if (!run.starts_with(recordHash(record) + "-"))
        return false;
    return !std::filesystem::exists(pathFor(output)) || runIn(readJson(output)) != run;
}

TiffRecord::TiffRecord(const OutputPlan& plan) : path{pathFor(plan.path)}, rows{makeRowsFile(path)} {
    json.insert("run", QString::fromStdString(newRunName(plan.record)));
    json.insert("record", QJsonDocument::fromJson(QByteArray::fromStdString(plan.record)).object());
    json.insert("output", planJson(plan));
    QJsonArray files;
    for (const std::string& file : plan.settingsFiles)
        files.append(QString::fromLatin1(contentsOf(file).toBase64()));
    json.insert("settings", files);
    json.insert("touched", textOf(plan.touched));
    json.insert("complete", false);
}

TiffRecord::TiffRecord(const OutputState& state)
    : path{pathFor(state.plan.path)}, json{readJson(state.plan.path)}, rows{makeRowsFile(path)} {
    json.remove("frames");
    json.insert("complete", state.complete);
    for (const FrameRow& row : state.rows)
        appendRow(row);
    write();
}

std::string TiffRecord::run() const {
    return runIn(json);
}

OutputState TiffRecord::read(const std::string& output) {
    const QJsonObject json = readJson(output);
    if (const std::string run = runOf(output); run.empty() || runIn(json) != run)
        throw Error(output + ": " + pathFor(output) +
                    " is the record of a different run; use --force to write the output again");
    const QJsonObject plan = json.value("output").toObject();
    OutputState state;
    state.plan.path = output;
    state.plan.width = static_cast<zt::u32>(plan.value("width").toInteger());
    state.plan.height = static_cast<zt::u32>(plan.value("height").toInteger());
    state.plan.frames = static_cast<zt::u64>(plan.value("frames").toInteger());
    readTypeFrom(plan, state.plan);
    state.plan.tags = ImageTags::fromJson(plan.value("tags").toObject());
    state.plan.record =
        QJsonDocument(json.value("record").toObject()).toJson(QJsonDocument::Compact).toStdString();
    state.complete = json.value("complete").toBool();

    const FrameFileInfo pages = FrameFile::open(output)->info();
    if (pages.width != state.plan.width || pages.height != state.plan.height ||
        pages.pixelType != typeRead(state.plan) || pages.frames > state.plan.frames)
        throw Error(output + ": is not the output that " + pathFor(output) + " describes");
    for (const QJsonValue& row : json.value("frames").toArray())
        if (state.rows.size() < pages.frames)
            state.rows.push_back(frameRowFromJson(row.toObject()));
    state.framesDone = state.rows.size();
    return state;
}

std::vector<zt::u32> TiffRecord::touched(const std::string& output) {
    const QByteArray text = readJson(output).value("touched").toString().toLatin1();
    const QByteArray bytes = qUncompress(QByteArray::fromBase64(text));
    std::vector<zt::u32> pixels(static_cast<std::size_t>(bytes.size()) / sizeof(zt::u32));
    std::memcpy(pixels.data(), bytes.data(), pixels.size() * sizeof(zt::u32));
    return pixels;
}

std::string TiffRecord::settings(const std::string& output, std::size_t index) {
    const QJsonArray files = readJson(output).value("settings").toArray();
    return QByteArray::fromBase64(files.at(static_cast<qsizetype>(index)).toString().toLatin1())
        .toStdString();
}

void TiffRecord::appendRow(const FrameRow& row) {
    constexpr qsizetype most = 1 << 16;
    if (rowBytes > 0 || !newRows.isEmpty())
        newRows += ",\n";
    newRows += QJsonDocument(toJson(row)).toJson(QJsonDocument::Compact);
    if (newRows.size() >= most)
        storeRows();
}

void TiffRecord::storeRows() {
    rows.writeAt(rowBytes, bytesOf(newRows));
    rowBytes += static_cast<zt::u64>(newRows.size());
    newRows.resize(0);
}

void TiffRecord::add(const FrameRow& row) {
    appendRow(row);
    if (Clock::now() >= nextWrite)
        write();
}

void TiffRecord::setComplete() {
    json.insert("complete", true);
}

bool TiffRecord::isInPlace() const {
    return !written || isNamed(written->descriptor(), written->finalPath());
}

void TiffRecord::prepare() {
    QByteArray head = QJsonDocument(json).toJson(QJsonDocument::Compact);
    head.chop(1); // the closing brace, written after the rows
    head += ",\"frames\":[\n";
    storeRows();
    prepared.reset(); // left by a failed attempt: the next one needs its name
    prepared = std::make_unique<AtomicFile>(path);
    prepared->write(bytesOf(head));
    std::vector<std::byte> buffer(std::size_t{1} << 20);
    for (zt::u64 at = 0; at < rowBytes; at += buffer.size()) {
        const auto piece = std::span(buffer).first(std::min<zt::u64>(buffer.size(), rowBytes - at));
        rows.readAt(at, piece);
        prepared->write(piece);
    }
    prepared->write(bytesOf("\n]}\n"));
    prepared->sync();
}

void TiffRecord::commit() {
    prepared->commit();
    written = std::move(prepared);
}

void TiffRecord::write() {
    // A longer record is written less often, so that writing takes a small part of the time.
    constexpr auto shortest = std::chrono::seconds(2);
    constexpr int share = 20;
    const auto start = Clock::now();
    prepare();
    commit();
    const auto end = Clock::now();
    nextWrite = end + std::max<Clock::duration>(shortest, share * (end - start));
}

} // namespace ombrel
