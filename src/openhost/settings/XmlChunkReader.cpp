#include "settings/XmlChunkReader.h"

#include <QByteArray>

#include <algorithm>
#include <span>

namespace ombrel {

namespace {

constexpr std::size_t pieceBytes = std::size_t{1} << 20;

} // namespace

void Blob::append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        if (parts.empty() || parts.back().size() == pieceBytes)
            parts.emplace_back().reserve(std::min(bytes.size(), pieceBytes));
        std::vector<std::byte>& last = parts.back();
        const std::size_t count = std::min(bytes.size(), pieceBytes - last.size());
        last.insert(last.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        byteCount += count;
        bytes = bytes.subspan(count);
    }
}

std::size_t Blob::copyTo(std::span<std::byte> out) const {
    std::size_t copied = 0;
    for (const std::vector<std::byte>& part : parts) {
        const std::size_t count = std::min(part.size(), out.size() - copied);
        std::copy_n(part.begin(), count, out.begin() + static_cast<std::ptrdiff_t>(copied));
        copied += count;
    }
    return copied;
}

namespace {

constexpr std::uint8_t invalid = 0x80;

constexpr std::array<std::uint8_t, 256> makeTable() {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> table{};
    table.fill(invalid);
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    return table;
}

constexpr auto table = makeTable();

std::uint8_t valueOf(char character) {
    return table[static_cast<unsigned char>(character)];
}

} // namespace

std::size_t Base64Decoder::decode(std::string_view text) {
    std::size_t done = 0;
    while (done < text.size()) {
        if (characters == 0 && !ended)
            done += decodeGroups(text.substr(done));
        if (done == text.size())
            break;
        if (!take(text[done]))
            return done;
        ++done;
    }
    return done;
}

bool Base64Decoder::finish() {
    flush();
    return characters == 0;
}

// Decodes consecutive whole groups of four; returns the number of their characters.
std::size_t Base64Decoder::decodeGroups(std::string_view text) {
    std::size_t done = 0;
    for (; done + 4 <= text.size(); done += 4) {
        const std::uint32_t a = valueOf(text[done]), b = valueOf(text[done + 1]), c = valueOf(text[done + 2]),
                            d = valueOf(text[done + 3]);
        if ((a | b | c | d) & invalid)
            break;
        put(a << 18 | b << 12 | c << 6 | d, 3);
    }
    return done;
}

bool Base64Decoder::take(char character) {
    if (character == ' ' || character == '\t' || character == '\r' || character == '\n')
        return true;
    if (ended)
        return false;
    const bool isPadding = character == '=';
    const std::uint8_t value = isPadding ? 0 : valueOf(character);
    if (value == invalid || (isPadding ? characters < 2 : padding > 0))
        return false;
    padding += isPadding;
    bits = bits << 6 | value;
    if (++characters == 4) {
        put(bits, 3 - padding);
        ended = padding > 0;
        characters = 0;
        bits = 0;
    }
    return true;
}

void Base64Decoder::put(std::uint32_t group, std::size_t byteCount) {
    if (used == buffer.size())
        flush();
    // Only the last group has padding, so until then the buffer holds a multiple of three bytes.
    buffer[used] = static_cast<std::byte>(group >> 16);
    buffer[used + 1] = static_cast<std::byte>(group >> 8);
    buffer[used + 2] = static_cast<std::byte>(group);
    used += byteCount;
}

void Base64Decoder::flush() {
    out.append(std::span(buffer).first(used));
    used = 0;
}

namespace {

constexpr zt::u32 codeOf(std::string_view text) {
    zt::u32 code = 0;
    for (const char character : text)
        code = code << 8 | static_cast<unsigned char>(character);
    return code;
}

// Determines the terminator from the start of the construct; 0 while the kind is unclear.
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

// Whether the construct ends with this character.
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

const char* XmlChunkReader::refusal() const {
    if (markup.isDocumentType())
        return "a settings file must not declare a document type or an entity";
    if (markup.isTag() && markup.length() > longestXmlTag)
        return "a settings file must not hold a tag above 16 KiB";
    if (!markup.isTag() && markup.length() > longestXmlComment)
        return "a settings file must not hold a comment or other construct above 64 KiB";
    return fed > mostXmlMarkup ? "a settings file must not exceed 16 MiB besides its blobs" : nullptr;
}

bool XmlChunkReader::feed() {
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

std::string_view XmlChunkReader::nextText() {
    const std::string_view text = unread();
    return text.substr(0, text.find('<'));
}

void XmlChunkReader::skip(std::size_t count) {
    const auto lines = std::count(buffer.begin() + begin, buffer.begin() + begin + count, '\n');
    reader.addData(QByteArray(lines, '\n'));
    fed += static_cast<std::size_t>(lines);
    begin += count;
}

std::string_view XmlChunkReader::unread() {
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
