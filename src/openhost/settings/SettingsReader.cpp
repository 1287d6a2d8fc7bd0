#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "settings/SettingsFile.h"
#include "settings/XmlChunkReader.h"

#include <QXmlStreamReader>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace ombrel {

namespace {

// Shortens texts for messages.
std::string shown(const std::string& text) {
    constexpr std::size_t longest = 40;
    return '"' + (text.size() <= longest ? text : text.substr(0, longest) + "...") + '"';
}

// A position in the file, counted from 1.
struct Position {
    qint64 line;
    qint64 column;
};

Position after(const Position& start, std::string_view text) {
    const std::size_t lineEnd = text.rfind('\n');
    if (lineEnd == text.npos)
        return {start.line, start.column + static_cast<qint64>(text.size())};
    return {start.line + std::ranges::count(text, '\n'), static_cast<qint64>(text.size() - lineEnd)};
}

class Reader {
public:
    explicit Reader(const std::string& filePath)
        : path(filePath), file(FileDescriptor::openForReading(filePath)), feed(file, xml) {
        xml.setNamespaceProcessing(false);
    }

    SettingsTree read();

private:
    Position here() const { return {xml.lineNumber(), xml.columnNumber() + 1}; }
    [[noreturn]] void fail(Position position, const std::string& text) const;
    [[noreturn]] void fail(const std::string& text) const { fail(here(), text); }

    void checkFed() const;
    QXmlStreamReader::TokenType next();
    bool nextElement();
    void readEnd();
    void requireElement(std::string_view name, std::initializer_list<std::string_view> allowedAttributes);
    std::string attribute(const char* name);

    void readGroup(SettingsTree& tree);
    void readItem(SettingsGroup& group);
    SettingsValue readValue(const std::string& type, bool isEncoded);
    std::string readText();
    Blob readBlob();

    template <typename T>
    SettingsValue required(const std::optional<T>& value, Position position, const std::string& text,
                           const std::string& type) {
        if (!value)
            fail(position, shown(text) + " is not of type " + type);
        return *value;
    }

    const std::string& path;
    std::unordered_set<std::string> names; // of the groups read so far
    std::unordered_set<std::string> keys;  // of the current group
    FileDescriptor file;
    QXmlStreamReader xml;
    XmlChunkReader feed;
};

void Reader::fail(Position position, const std::string& text) const {
    throw Error(path + ":" + std::to_string(position.line) + ":" + std::to_string(position.column) + ": " +
                text);
}

void Reader::checkFed() const {
    if (const char* const refusal = feed.refusal())
        fail(refusal);
}

// The next significant token.
QXmlStreamReader::TokenType Reader::next() {
    for (;;) {
        const auto token = xml.readNext();
        if (xml.error() == QXmlStreamReader::PrematureEndOfDocumentError) {
            if (!feed.feed())
                fail("the file ends within the settings");
            checkFed();
        } else if (xml.hasError()) {
            fail("not a settings file: " + xml.errorString().toStdString());
        } else if (token == QXmlStreamReader::DTD || token == QXmlStreamReader::EntityReference) {
            fail("a settings file must not declare a document type or an entity");
        } else if (token != QXmlStreamReader::StartDocument && token != QXmlStreamReader::Comment &&
                   token != QXmlStreamReader::ProcessingInstruction) {
            return token;
        }
    }
}

// Moves to the next child of the current element; false at its end.
bool Reader::nextElement() {
    for (;;) {
        const auto token = next();
        if (token == QXmlStreamReader::StartElement)
            return true;
        if (token == QXmlStreamReader::EndElement)
            return false;
        if (!xml.isWhitespace())
            fail("text outside an item: " + shown(xml.text().trimmed().toString().toStdString()));
    }
}

// Everything after the root element is fed to the reader in one go, since it treats every end of its input as
// the end of the document.
void Reader::readEnd() {
    while (feed.feed())
        checkFed();
    while (next() != QXmlStreamReader::EndDocument) {
    }
}

void Reader::requireElement(std::string_view name,
                            std::initializer_list<std::string_view> allowedAttributes) {
    if (const std::string found = xml.name().toString().toStdString(); found != name)
        fail(shown(found) + " where " + shown(std::string(name)) + " is expected");
    for (const QXmlStreamAttribute& each : xml.attributes())
        if (const std::string found = each.name().toString().toStdString();
            std::ranges::find(allowedAttributes, found) == allowedAttributes.end())
            fail("unknown attribute " + shown(found));
}

std::string Reader::attribute(const char* name) {
    const QLatin1StringView key(name);
    if (!xml.attributes().hasAttribute(key))
        fail(std::string("the attribute \"") + name + "\" is missing");
    return xml.attributes().value(key).toString().toStdString();
}

SettingsTree Reader::read() {
    SettingsTree tree;
    nextElement();
    requireElement("settings", {});
    while (nextElement())
        readGroup(tree);
    readEnd();
    return tree;
}

void Reader::readGroup(SettingsTree& tree) {
    requireElement("group", {"name"});
    const std::string name = attribute("name");
    if (!names.insert(name).second)
        fail("a second group " + shown(name));
    SettingsGroup& group = tree.groups.emplace_back(SettingsGroup{name, {}});
    keys.clear();
    while (nextElement())
        readItem(group);
}

void Reader::readItem(SettingsGroup& group) {
    requireElement("item", {"key", "type", "encoding"});
    const std::string key = attribute("key");
    const std::string type = attribute("type");
    if (!keys.insert(key).second)
        fail("a second key " + shown(key) + " in group " + shown(group.name));
    const bool isEncoded = xml.attributes().hasAttribute(QLatin1StringView("encoding"));
    if (isEncoded && (type != "string" || attribute("encoding") != "base64"))
        fail("an unknown encoding of a string; only \"base64\" is known");
    group.items.push_back({key, readValue(type, isEncoded)});
}

SettingsValue Reader::readValue(const std::string& type, bool isEncoded) {
    const Position position = here();
    if (type == "blob")
        return readBlob();
    if (type == "string" && isEncoded) {
        const Blob blob = readBlob();
        std::string text(blob.size(), '\0');
        blob.copyTo(std::as_writable_bytes(std::span(text)));
        return text;
    }
    if (type == "string")
        return readText();
    if (type == "bool" || type == "int" || type == "double") {
        const std::string text = readText();
        if (type == "bool")
            return required(readBool(text), position, text, type);
        if (type == "int")
            return required(readNumber<int>(text), position, text, type);
        return required(readNumber<double>(text), position, text, type);
    }
    fail("unknown type " + shown(type));
}

std::string Reader::readText() {
    QString text;
    for (;;) {
        const auto token = next();
        if (token == QXmlStreamReader::EndElement)
            return text.toStdString();
        if (token == QXmlStreamReader::StartElement)
            fail("an element within an item");
        text += xml.text();
        if (static_cast<std::size_t>(text.size()) > longestXmlText)
            fail("a settings file must not hold a text above 1 MiB");
    }
}

Blob Reader::readBlob() {
    Blob blob;
    Base64Decoder decoder(blob);
    Position position = here();
    if (!feed.atEmptyElement()) {
        for (std::string_view text = feed.nextText(); !text.empty(); text = feed.nextText()) {
            const std::size_t good = decoder.decode(text);
            position = after(position, text.substr(0, good));
            if (good < text.size())
                fail(position, "a character that is not base64");
            feed.skip(good);
            checkFed();
        }
    }
    if (!decoder.finish())
        fail(position, "the base64 text is truncated");
    if (nextElement())
        fail("an element within an item");
    return blob;
}

} // namespace

SettingsTree readSettings(const std::string& path) {
    return Reader(path).read();
}

SettingsTree readReplaceable(const std::string& path) {
    try {
        return readSettings(path);
    } catch (const Error& error) {
        throw Error(path + ": is not a settings file and is not replaced; choose another name (" +
                    error.what() + ")");
    }
}

} // namespace ombrel
