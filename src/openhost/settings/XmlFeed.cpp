#include "settings/XmlFeed.h"

#include <QByteArray>

#include <algorithm>
#include <span>

namespace ombrel {

namespace {

constexpr zt::u32 codeOf(std::string_view text) {
    zt::u32 code = 0;
    for (const char character : text)
        code = code << 8 | static_cast<unsigned char>(character);
    return code;
}

// By how the part begins; 0 where more has to be known.
zt::u32 terminatorOf(std::string_view opening) {
    constexpr std::string_view comment = "<!--";
    constexpr std::string_view characterData = "<![CDATA[";
    if (opening == comment)
        return codeOf("-->");
    if (opening == characterData)
        return codeOf("]]>");
    if (opening == "<?")
        return codeOf("?>");
    return comment.starts_with(opening) || characterData.starts_with(opening) ? 0 : codeOf(">");
}

} // namespace

// Whether the part ends with the character.
bool XmlMarkup::take(char character) {
    if (!isOpen) {
        if (character != '<')
            return false;
        *this = {};
        isOpen = true;
    }
    ++partLength;
    if (terminator == 0) {
        opening += character;
        terminator = terminatorOf(opening);
    } else if (!isTag()) {
        tail = tail << 8 | static_cast<unsigned char>(character);
        return (tail & (terminator > 0xffff ? 0xffffff : 0xffff)) == terminator;
    }
    return isTag() && closesTag(character);
}

bool XmlMarkup::closesTag(char character) {
    if (quote != 0)
        quote = character == quote ? '\0' : quote;
    else if (character == '"' || character == '\'')
        quote = character;
    return quote == 0 && character == '>';
}

std::size_t XmlMarkup::endOfPart(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (take(text[i])) {
            isOpen = false;
            return i + 1;
        }
    return text.size();
}

const char* XmlFeed::refusal() const {
    if (markup.isDocumentType())
        return "a document type or an entity of its own has no place in a settings file";
    if (markup.isTag() && markup.length() > longestXmlTag)
        return "a tag of more than 16 KiB has no place in a settings file";
    if (!markup.isTag() && markup.length() > longestXmlComment)
        return "a comment or the like of more than 64 KiB has no place in a settings file";
    return fed > mostXmlMarkup ? "a settings file has at most 16 MiB besides its blobs" : nullptr;
}

bool XmlFeed::feed() {
    const std::string_view text = unread();
    if (text.empty())
        return false;
    const std::size_t count = markup.endOfPart(text);
    fed += count;
    reader.addData(QByteArray(text.data(), static_cast<qsizetype>(count)));
    beforeLast = count > 1 ? text[count - 2] : last;
    last = text[count - 1];
    begin += count;
    return true;
}

std::string_view XmlFeed::nextText() {
    const std::string_view text = unread();
    return text.substr(0, text.find('<'));
}

void XmlFeed::skip(std::size_t count) {
    const auto lines = std::count(buffer.begin() + begin, buffer.begin() + begin + count, '\n');
    reader.addData(QByteArray(lines, '\n'));
    fed += static_cast<std::size_t>(lines);
    begin += count;
}

std::string_view XmlFeed::unread() {
    if (begin == end) {
        const zt::u64 left = file.size() - std::min(offset, file.size());
        begin = 0;
        end = static_cast<std::size_t>(std::min<zt::u64>(left, buffer.size()));
        file.readAt(offset, std::as_writable_bytes(std::span(buffer).first(end)));
        offset += end;
    }
    return {buffer.data() + begin, end - begin};
}

} // namespace ombrel
