#pragma once

#include "base/FileDescriptor.h"
#include "zt/Types.h"

#include <QXmlStreamReader>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// A block of bytes that grows piece by piece without ever moving what it holds: blocks of hundreds of
// megabytes are read in without a second copy of them.
class Blob {
public:
    Blob() = default;
    explicit Blob(std::span<const std::byte> bytes) { append(bytes); }

    void append(std::span<const std::byte> bytes);
    std::size_t size() const { return byteCount; }
    // Copies as much as fits and returns the number of bytes copied.
    std::size_t copyTo(std::span<std::byte> out) const;
    // The contents in order.
    const std::vector<std::vector<std::byte>>& pieces() const { return parts; }

private:
    std::vector<std::vector<std::byte>> parts;
    std::size_t byteCount = 0;
};

// Decodes base64 text that comes in pieces. Blanks and line ends are passed over; padding must be there.
class Base64Decoder {
public:
    explicit Base64Decoder(Blob& decoded) : out(decoded) {}

    // The index of the first character that may not stand where it stands; text.size() when all are right.
    std::size_t decode(std::string_view text);
    // Hands over what is still held back. False when the text ended in the middle of a group of four.
    bool finish();

private:
    std::size_t decodeGroups(std::string_view text);
    bool take(char character);
    void put(std::uint32_t group, std::size_t byteCount);
    void flush();

    Blob& out;
    std::array<std::byte, 3 * 4096> buffer;
    std::size_t used = 0;
    std::uint32_t bits = 0;     // of the group that is open
    std::size_t characters = 0; // in the group that is open, padding included
    std::size_t padding = 0;
    bool ended = false; // padding was there: nothing may follow
};

// What may stand in a settings file besides its blobs. The reader compares each attribute of a tag with all
// others, and scans a comment from its start for each piece that it gets.
inline constexpr std::size_t longestXmlTag = std::size_t{16} << 10;
inline constexpr std::size_t longestXmlComment = std::size_t{64} << 10; // or the like
inline constexpr std::size_t longestXmlText = std::size_t{1} << 20;
inline constexpr std::size_t mostXmlMarkup = std::size_t{16} << 20; // of the whole file

// Finds the ends of tags, comments and the like in text that comes in pieces.
class XmlMarkup {
public:
    // The number of characters up to the end of the part that is open or comes next; text.size() when it does
    // not end there. Text outside of markup belongs to the part that follows it.
    std::size_t endOfPart(std::string_view text);

    // Of the part that is open or was found last, without the text ahead of it.
    std::size_t length() const { return partLength; }
    bool isTag() const { return terminator == tagEnd; }
    bool isDocumentType() const { return opening.starts_with("<!D"); }

private:
    bool take(char character);
    bool closesTag(char character);

    static constexpr zt::u32 tagEnd = '>';

    bool isOpen = false;
    std::string opening;    // as much as shows the kind
    zt::u32 terminator = 0; // its characters, the last one lowest; 0 until the kind is known
    zt::u32 tail = 0;       // the last characters of a part that is no tag
    char quote = 0;         // that an attribute's value is in
    std::size_t partLength = 0;
};

// Feeds an XML reader from a file, up to the end of one tag at a time. When the reader has reported a start
// tag it has therefore seen nothing of the text after it, which can then be taken from here without going
// through the reader: it would keep a text as a whole, in UTF-16, and scans it ten times slower than it can
// be decoded.
class XmlChunkReader {
public:
    XmlChunkReader(const FileDescriptor& xmlFile, QXmlStreamReader& xmlReader)
        : file(xmlFile), reader(xmlReader) {}

    // Gives the reader the next piece. False at the end of the file.
    bool feed();
    // Why the file is not fed any further; null as long as it keeps to what may stand there.
    const char* refusal() const;
    // What comes before the next "<", a buffer at a time; empty when "<" or the end of the file is next.
    std::string_view nextText();
    // Passes over `count` characters of it. Line ends among them count for the reader's line numbers.
    void skip(std::size_t count);
    // Whether the start tag that was reported last ends its element as well.
    bool atEmptyElement() const { return beforeLast == '/' && last == '>'; }

private:
    // The bytes that were read and not passed on yet; empty at the end of the file.
    std::string_view unread();

    const FileDescriptor& file;
    QXmlStreamReader& reader;
    XmlMarkup markup;
    std::size_t fed = 0;
    std::array<char, 65536> buffer;
    std::size_t begin = 0;
    std::size_t end = 0;
    zt::u64 offset = 0; // in the file, of the end of the buffer
    char beforeLast = 0;
    char last = 0;
};

} // namespace ombrel
