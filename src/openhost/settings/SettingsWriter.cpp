#include "base/Error.h"
#include "base/Numbers.h"
#include "settings/SettingsFile.h"

#include <QBuffer>
#include <QStringDecoder>
#include <QXmlStreamWriter>

#include <algorithm>

namespace ombrel {

namespace {

constexpr QLatin1StringView encodingMark("base64");

// Whether XML represents the text exactly. A carriage return would read back as a line feed.
bool fitsXml(const std::string& text) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = utf8(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
    return !utf8.hasError() && std::ranges::none_of(decoded, [](QChar character) {
        const char16_t code = character.unicode();
        return (code < 0x20 && code != '\t' && code != '\n') || code >= 0xfffe;
    });
}

class Writer {
public:
    explicit Writer(AtomicFile& settingsFile) : file(settingsFile), xml(&buffer) {
        buffer.open(QIODevice::WriteOnly);
        xml.setAutoFormatting(true);
        xml.setAutoFormattingIndent(2);
    }

    void write(const SettingsTree& tree);

private:
    void startElement(const char* element, const char* attribute, const std::string& name);
    void writeItem(const SettingsItem& item);
    void writeContents(bool value) { xml.writeCharacters(QLatin1StringView(value ? "true" : "false")); }
    void writeContents(int value) { xml.writeCharacters(QString::fromStdString(numberText(value))); }
    void writeContents(double value) { xml.writeCharacters(QString::fromStdString(numberText(value))); }
    void writeContents(const std::string& value);
    void writeContents(const Blob& value);
    void put(const QByteArray& text);
    void drain();

    AtomicFile& file;
    QBuffer buffer; // not written to the file yet
    QXmlStreamWriter xml;
};

void Writer::write(const SettingsTree& tree) {
    xml.writeStartDocument();
    xml.writeStartElement(QLatin1StringView("settings"));
    for (const SettingsGroup& group : tree.groups) {
        startElement("group", "name", group.name);
        for (const SettingsItem& item : group.items)
            writeItem(item);
        xml.writeEndElement();
    }
    xml.writeEndDocument();
    drain();
}

void Writer::startElement(const char* element, const char* attribute, const std::string& name) {
    if (!fitsXml(name))
        throw Error(file.path() + ": cannot be written: the name of a " + element +
                    " has characters that XML can't represent");
    xml.writeStartElement(QLatin1StringView(element));
    xml.writeAttribute(QLatin1StringView(attribute), QString::fromStdString(name));
}

void Writer::writeItem(const SettingsItem& item) {
    startElement("item", "key", item.key);
    const std::string_view type = settingsTypeName(item.value);
    xml.writeAttribute(QLatin1StringView("type"),
                       QLatin1StringView(type.data(), static_cast<qsizetype>(type.size())));
    std::visit([&](const auto& value) { writeContents(value); }, item.value);
    xml.writeEndElement();
}

void Writer::writeContents(const std::string& value) {
    if (fitsXml(value)) {
        xml.writeCharacters(QString::fromStdString(value));
    } else {
        xml.writeAttribute(QLatin1StringView("encoding"), encodingMark);
        writeContents(Blob(std::as_bytes(std::span(value))));
    }
}

// Bypasses the XML writer, which would convert the text to UTF-16.
void Writer::writeContents(const Blob& value) {
    xml.writeCharacters(QString()); // closes the start tag
    drain();
    // Pieces are encoded in whole groups of three bytes; the remaining bytes precede the next piece.
    QByteArray open;
    for (const std::vector<std::byte>& piece : value.pieces()) {
        open.append(reinterpret_cast<const char*>(piece.data()), static_cast<qsizetype>(piece.size()));
        const QByteArray left = open.last(open.size() % 3);
        open.chop(left.size());
        put(open.toBase64());
        open = left;
    }
    put(open.toBase64());
}

void Writer::put(const QByteArray& text) {
    file.write(std::as_bytes(std::span(text.constData(), static_cast<std::size_t>(text.size()))));
}

void Writer::drain() {
    put(buffer.data());
    buffer.buffer().clear();
    buffer.seek(0);
}

} // namespace

void writeSettings(const SettingsTree& tree, AtomicFile& file) {
    Writer(file).write(tree);
}

void writeSettingsFile(const SettingsTree& tree, const std::string& path) {
    AtomicFile file(path);
    writeSettings(tree, file);
    file.commit();
}

} // namespace ombrel
