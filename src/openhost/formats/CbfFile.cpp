#include "formats/CbfFile.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <optional>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view sectionMark = "--CIF-BINARY-FORMAT-SECTION--";
constexpr std::string_view dataMark = "\x0c\x1a\x04\xd5";
constexpr std::size_t longestText = std::size_t{4} << 20; // before a section

// The value of a line "NAME: VALUE" or of a parameter "NAME="VALUE"" of the header; empty if it has none.
std::string valueOf(std::string_view header, std::string_view name) {
    const auto sameLetter = [](char one, char other) { return (one | 0x20) == (other | 0x20); };
    for (std::size_t begin = 0; begin < header.size();) {
        const auto found = std::search(header.begin() + static_cast<std::ptrdiff_t>(begin), header.end(),
                                       name.begin(), name.end(), sameLetter);
        const auto at = static_cast<std::size_t>(found - header.begin());
        begin = at + name.size();
        const bool startsWord = at == 0 || std::string_view(" \t\r\n;").find(header[at - 1]) != header.npos;
        if (begin >= header.size() || !startsWord || (header[begin] != ':' && header[begin] != '='))
            continue;
        std::string_view value = header.substr(begin + 1, header.find_first_of("\r\n;", begin) - begin - 1);
        const auto isAround = [](char c) { return c == ' ' || c == '\t' || c == '"'; };
        while (!value.empty() && isAround(value.front()))
            value.remove_prefix(1);
        while (!value.empty() && isAround(value.back()))
            value.remove_suffix(1);
        return std::string(value);
    }
    return {};
}

template <typename T>
std::optional<T> numberOf(std::string_view header, std::string_view name) {
    const std::string value = valueOf(header, name);
    const auto number = readNumber<T>(value);
    if (!value.empty() && !number)
        throw Error(std::string(name) + " is \"" + value + "\", which is not a valid number");
    return number;
}

template <typename T>
T neededNumberOf(std::string_view header, std::string_view name) {
    const auto number = numberOf<T>(header, name);
    if (!number)
        throw Error("the header of the pixels has no " + std::string(name));
    return *number;
}

zt::u8 elementTypeOf(const std::string& name) {
    static const std::map<std::string, zt::u8> types{
        {"signed 8-bit integer", zt::DT_I8},       {"unsigned 8-bit integer", zt::DT_U8},
        {"signed 16-bit integer", zt::DT_I16},     {"unsigned 16-bit integer", zt::DT_U16},
        {"signed 32-bit integer", zt::DT_I32},     {"unsigned 32-bit integer", zt::DT_U32},
        {"signed 32-bit real IEEE", zt::DT_FLOAT}, {"signed 64-bit real IEEE", zt::DT_DOUBLE},
    };
    const auto found = types.find(name);
    if (found == types.end())
        throw Error("the pixels have the unknown type \"" + name + "\" (X-Binary-Element-Type)");
    return found->second;
}

// Seconds in the comment that detectors write: "# Exposure_time 0.0970000 s".
std::optional<double> exposureTime(std::string_view text) {
    constexpr std::string_view key = "Exposure_time ";
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos)
        return std::nullopt;
    const std::string_view line = text.substr(at + key.size(), text.find('\n', at) - at - key.size());
    const std::size_t blank = line.find(' ');
    const auto seconds = readNumber<double>(line.substr(0, blank));
    const bool inSeconds = blank != std::string_view::npos && line.substr(blank + 1).starts_with('s');
    return inSeconds && seconds && *seconds > 0 && *seconds < 1e9 ? seconds : std::nullopt;
}

template <typename T>
T littleEndian(const std::byte* bytes) {
    T value{};
    std::memcpy(&value, bytes, sizeof value);
    if constexpr (std::endian::native == std::endian::big)
        swapPixelBytes(std::as_writable_bytes(std::span(&value, 1)), sizeof value);
    return value;
}

// Each pixel is the difference to the one before it, in one byte, or in two, four or eight after the smallest
// numbers of the shorter ones.
template <typename T>
void decodeByteOffsets(std::span<const std::byte> stored, std::span<T> pixels) {
    const std::byte* at = stored.data();
    const std::byte* const end = at + stored.size();
    const auto next = [&]<typename Delta>(Delta) {
        if (end - at < static_cast<std::ptrdiff_t>(sizeof(Delta)))
            throw Error("the pixels are damaged: they end early");
        const auto delta = littleEndian<Delta>(at);
        at += sizeof(Delta);
        return delta;
    };
    zt::u64 value = 0; // wraps around, as the differences do
    for (T& pixel : pixels) {
        zt::i64 delta = next(zt::i8{});
        if (delta == std::numeric_limits<zt::i8>::min())
            delta = next(zt::i16{});
        if (delta == std::numeric_limits<zt::i16>::min())
            delta = next(zt::i32{});
        if (delta == std::numeric_limits<zt::i32>::min())
            delta = next(zt::i64{});
        value += static_cast<zt::u64>(delta);
        pixel = static_cast<T>(value);
    }
}

} // namespace

CbfFile::CbfFile(const std::string& path) : file{path} {
    fileInfo.path = path;
    fileInfo.format = "CBF";
    gatherSections();
    fileInfo.frames = static_cast<zt::u32>(sections.size());
    for (const Section& section : sections)
        scratchBytes = std::max(scratchBytes, section.byteOffsets ? section.bytes : 0);
}

void CbfFile::gatherSections() {
    for (zt::u64 offset = 0;;) {
        const std::string name = where(static_cast<zt::u32>(sections.size()));
        try {
            const Found found = find(offset);
            if (found.data == std::string::npos)
                return checkEnd(found);
            if (sections.empty())
                fileInfo.acqTime = exposureTime(std::string_view(found.text).substr(0, found.begin));
            Section section;
            section.offset = offset + found.data + dataMark.size();
            addSection(found.text.substr(found.begin, found.data - found.begin), section);
            offset = sections.back().offset + sections.back().bytes;
        } catch (const Error& error) {
            throw Error(name + ": " + error.what());
        }
    }
}

// The mark that ends a section is longer than the one that begins it.
void CbfFile::checkEnd(const Found& found) const {
    if (sections.empty())
        throw Error("the file is truncated or damaged: it has no pixels");
    if (found.text.find(sectionMark) == std::string::npos)
        throw Error("the file is truncated after the pixels before it");
}

namespace {

std::size_t findSection(std::string_view text, std::size_t from) {
    for (auto at = text.find(sectionMark, from); at != text.npos; at = text.find(sectionMark, at + 1))
        if (const std::size_t next = at + sectionMark.size();
            next < text.size() && (text[next] == '\r' || text[next] == '\n'))
            return at;
    return text.npos;
}

} // namespace

// Searches piece by piece. A piece is no longer than what can be read again at no cost, so that a compressed
// file is unpacked once.
CbfFile::Found CbfFile::find(zt::u64 offset) {
    constexpr std::size_t longestHeader = std::size_t{64} << 10;
    Found found;
    auto& [text, begin, data] = found;
    for (;;) {
        const std::size_t before = text.size();
        text.resize(before + FileBytes::recentBytes);
        text.resize(before +
                    file.readSome(offset + before, std::as_writable_bytes(std::span(text)).subspan(before)));
        if (text.size() == before)
            return found;
        const std::size_t from = before - std::min(before, sectionMark.size()); // a mark may span two pieces
        if (begin == text.npos)
            begin = findSection(text, from);
        if (begin != text.npos)
            data = text.find(dataMark, std::max(begin, from));
        if (begin != text.npos && std::min(data, text.size()) - begin > longestHeader)
            throw Error("the header of the pixels is longer than " + countText(longestHeader, "byte"));
        if (data != text.npos)
            return found;
        if (text.size() > longestText)
            throw Error("no pixels follow in " + countText(longestText, "byte"));
    }
}

void CbfFile::addSection(const std::string& header, Section section) {
    const std::string encoding = valueOf(header, "Content-Transfer-Encoding");
    if (!encoding.empty() && encoding != "BINARY")
        throw Error("its pixels are encoded as " + encoding + "; save them as binary");
    const std::string conversion = valueOf(header, "conversions");
    section.byteOffsets = conversion == "x-CBF_BYTE_OFFSET";
    if (!section.byteOffsets && !conversion.empty() && conversion != "x-CBF_NONE")
        throw Error("its pixels are compressed by " + conversion +
                    "; only x-CBF_BYTE_OFFSET and plain pixels can be read");
    const auto pixelType = elementTypeOf(valueOf(header, "X-Binary-Element-Type"));
    const std::string byteOrder = valueOf(header, "X-Binary-Element-Byte-Order");
    if (byteOrder != "LITTLE_ENDIAN" && (byteOrder != "BIG_ENDIAN" || section.byteOffsets))
        throw Error("its pixels have the unknown byte order \"" + byteOrder + '"');
    section.swapped = (byteOrder == "LITTLE_ENDIAN") != (std::endian::native == std::endian::little);
    const auto width = neededNumberOf<zt::u32>(header, "X-Binary-Size-Fastest-Dimension");
    const auto height = neededNumberOf<zt::u32>(header, "X-Binary-Size-Second-Dimension");
    if (numberOf<zt::u32>(header, "X-Binary-Size-Third-Dimension").value_or(1) > 1)
        throw Error("its pixels have three axes; frames have two");
    section.bytes = neededNumberOf<zt::u64>(header, "X-Binary-Size");
    section.checksum = valueOf(header, "Content-MD5");

    const double pixels = static_cast<double>(width) * height;
    const double least = pixels * (section.byteOffsets ? 1.0 : static_cast<double>(pixelSize(pixelType)));
    const double most = pixels * (section.byteOffsets ? 15.0 : static_cast<double>(pixelSize(pixelType)));
    const auto bytes = static_cast<double>(section.bytes);
    if (pixels == 0 || bytes < least || bytes > most || section.bytes > file.mostBytes())
        throw Error("the file is truncated or damaged: " + sizeText(width, height) + " pixels cannot have " +
                    countText(section.bytes, "byte"));
    file.checkHolds(section.offset + section.bytes);
    checkLikeFirst(width, height, pixelType);
    constexpr std::size_t mostSections = 4096; // a small compressed file could claim any number
    if (sections.size() == mostSections)
        throw Error("the file holds more than " + countText(mostSections, "image"));
    sections.push_back(std::move(section));
}

void CbfFile::checkLikeFirst(zt::u32 width, zt::u32 height, zt::u8 pixelType) {
    if (sections.empty()) {
        fileInfo.width = width;
        fileInfo.height = height;
        fileInfo.pixelType = pixelType;
    } else if (width != fileInfo.width || height != fileInfo.height || pixelType != fileInfo.pixelType) {
        throw Error("its size or type differs from that of frame 0; the frames of one file must be alike");
    }
}

std::optional<FrameFile::RawImage> CbfFile::rawImage(zt::u32 frame, zt::u32) const {
    const FileDescriptor* const plain = file.plain();
    const Section& section = sections[frame];
    if (!plain || section.byteOffsets || section.swapped || !section.checksum.empty())
        return std::nullopt;
    return RawImage{*plain, section.offset};
}

void CbfFile::readStored(zt::u32 frame, zt::u32, std::span<std::byte> pixels) {
    try {
        readSection(sections[frame], pixels);
    } catch (const Error& error) {
        throw Error(where(frame) + ": " + error.what());
    }
}

void CbfFile::readSection(const Section& section, std::span<std::byte> pixels) {
    std::vector<std::byte> packed(section.byteOffsets ? section.bytes : 0);
    const std::span<std::byte> stored = section.byteOffsets ? std::span(packed) : pixels;
    file.read(section.offset, stored);
    if (!section.checksum.empty()) {
        const QByteArrayView bytes(stored.data(), static_cast<qsizetype>(stored.size()));
        if (QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toBase64().toStdString() !=
            section.checksum)
            throw Error("the file is damaged: the pixels do not match their checksum");
    }
    if (section.byteOffsets)
        withPixelType(fileInfo.pixelType, [&](auto pixel) {
            using T = decltype(pixel);
            if constexpr (std::is_integral_v<T>)
                decodeByteOffsets<T>(stored,
                                     {reinterpret_cast<T*>(pixels.data()), pixels.size() / sizeof(T)});
            else
                throw Error("byte offsets of floating-point pixels cannot be read");
        });
    else if (section.swapped)
        swapPixelBytes(pixels, pixelSize(fileInfo.pixelType));
}

} // namespace ombrel
