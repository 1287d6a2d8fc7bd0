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

// A block of bytes that grows by pieces and never moves its contents: hundreds of megabytes are read without
// a second copy.
class Blob {
public:
    Blob() = default;
    explicit Blob(std::span<const std::byte> bytes) { append(bytes); }

    void append(std::span<const std::byte> bytes);
    std::size_t size() const { return byteCount; }
    // Copies as many bytes as fit and returns their number.
    std::size_t copyTo(std::span<std::byte> out) const;
    // The pieces, in order.
    const std::vector<std::vector<std::byte>>& pieces() const { return parts; }

private:
    std::vector<std::vector<std::byte>> parts;
    std::size_t byteCount = 0;
};

// Decodes base64 text that arrives in pieces. Blanks and line ends are skipped; padding is required.
class Base64Decoder {
public:
    explicit Base64Decoder(Blob& decoded) : out(decoded) {}

    // Returns the index of the first invalid character; text.size() if all are valid.
    std::size_t decode(std::string_view text);
    // Appends the bytes still buffered. False if the text ended within a group of four.
    bool finish();

private:
    std::size_t decodeGroups(std::string_view text);
    bool take(char character);
    void put(std::uint32_t group, std::size_t byteCount);
    void flush();

    Blob& out;
    std::array<std::byte, 3 * 4096> buffer;
    std::size_t used = 0;
    std::uint32_t bits = 0;     // of the current group
    std::size_t characters = 0; // in the current group, including padding
    std::size_t padding = 0;
    bool ended = false; // padding was seen: nothing may follow
};

// Limits on the markup of a settings file. The XML reader compares each attribute of a tag with all others,
// and rescans a comment from its start for each piece.
inline constexpr std::size_t longestXmlTag = std::size_t{16} << 10;
inline constexpr std::size_t longestXmlComment = std::size_t{64} << 10; // or another construct
inline constexpr std::size_t longestXmlText = std::size_t{1} << 20;
inline constexpr std::size_t mostXmlMarkup = std::size_t{16} << 20; // of the whole file

// Finds the ends of tags, comments and other constructs in text that arrives in pieces.
class XmlMarkup {
public:
    // The number of characters up to the end of the current or next construct; text.size() if it does not end
    // there. Text outside of markup is counted to the construct that follows it.
    std::size_t endOfPart(std::string_view text);

    // The length of the current or last construct, without the text before it.
    std::size_t length() const { return partLength; }
    bool isTag() const { return terminator == tagEnd; }
    bool isDocumentType() const { return opening.starts_with("<!D"); }

private:
    bool take(char character);
    bool closesTag(char character);

    static constexpr zt::u32 tagEnd = '>';

    bool isOpen = false;
    std::string opening;    // enough characters to show the kind
    zt::u32 terminator = 0; // its characters, the last one lowest; 0 until the kind is known
    zt::u32 tail = 0;       // the last characters of a construct other than a tag
    char quote = 0;         // the quote around an attribute's value
    std::size_t partLength = 0;
};

// Feeds an XML reader from a file, only up to the end of the next tag. So when the reader reports a start
// tag, it has seen nothing of the text after it, and that text can be taken from here without the reader,
// which would keep it as a whole in UTF-16 and scan it ten times slower than it can be decoded.
class XmlChunkReader {
public:
    XmlChunkReader(const FileDescriptor& xmlFile, QXmlStreamReader& xmlReader)
        : file(xmlFile), reader(xmlReader) {}

    // Feeds the reader the next piece. False at the end of the file.
    bool feed();
    // Why feeding was stopped; null while the file is within the limits.
    const char* refusal() const;
    // The text before the next "<", a buffer at a time; empty if "<" or the end of the file is next.
    std::string_view nextText();
    // Skips `count` characters of that text, counting line ends for the reader's line numbers.
    void skip(std::size_t count);
    // Whether the last start tag also ends its element.
    bool atEmptyElement() const { return beforeLast == '/' && last == '>'; }

private:
    // The bytes read but not yet fed; empty at the end of the file.
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
