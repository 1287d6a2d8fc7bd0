#pragma once

#include "host/Types.h"
#include "standalone/FileDescriptor.h"

#include <QXmlStreamReader>

#include <array>
#include <string_view>

namespace ombrel {

// Feeds an XML reader from a file, up to one ">" at a time. When the reader has reported a start tag it has
// therefore seen nothing of the text behind it, which can then be taken from here without going through the
// reader: it would keep a text as a whole, in UTF-16, and scans it ten times slower than it can be decoded.
class XmlFeed {
public:
    XmlFeed(const FileDescriptor& xmlFile, QXmlStreamReader& xmlReader) : file(xmlFile), reader(xmlReader) {}

    // Gives the reader the next piece. False at the end of the file.
    bool feed();
    // What stands ahead of the next "<", a buffer at a time; empty when "<" or the end of the file is next.
    std::string_view nextText();
    // Goes on behind `count` characters of it. Line ends among them count for the reader's line numbers.
    void skip(std::size_t count);
    // Whether the start tag that was reported last ends its element as well.
    bool atEmptyElement() const { return beforeLast == '/' && last == '>'; }

private:
    // The bytes that were read and not passed on yet; empty at the end of the file.
    std::string_view unread();

    const FileDescriptor& file;
    QXmlStreamReader& reader;
    std::array<char, 65536> buffer;
    std::size_t begin = 0;
    std::size_t end = 0;
    zt::u64 offset = 0; // in the file, of the end of the buffer
    char beforeLast = 0;
    char last = 0;
};

} // namespace ombrel
