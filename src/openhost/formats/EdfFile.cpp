#include "formats/EdfFile.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <map>
#include <optional>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view withoutBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower;
}

// The keys and values of one header; keys in small letters.
class Header {
public:
    // The text between the braces.
    explicit Header(std::string_view text) {
        while (!text.empty()) {
            const std::string_view entry = text.substr(0, text.find(';'));
            text.remove_prefix(std::min(entry.size() + 1, text.size()));
            if (const auto mark = entry.find('='); mark != std::string_view::npos)
                values.emplace(lowered(withoutBlanks(entry.substr(0, mark))),
                               withoutBlanks(entry.substr(mark + 1)));
        }
    }

    std::optional<std::string> text(const std::string& key) const {
        const auto found = values.find(lowered(key));
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }

    template <typename T>
    std::optional<T> number(const std::string& key) const {
        const auto value = text(key);
        const auto read = value ? readNumber<T>(*value) : std::nullopt;
        if (value && !read)
            throw Error(key + " is \"" + *value + "\", which is not a valid number");
        return read;
    }

    template <typename T>
    T neededNumber(const std::string& key) const {
        const auto value = number<T>(key);
        if (!value)
            throw Error("its header has no " + key);
        return *value;
    }

private:
    std::map<std::string, std::string> values;
};

// An "integer" and a "long" both have 32 bits.
zt::u8 pixelTypeOf(const std::string& name) {
    static const std::map<std::string, zt::u8> types{
        {"signedbyte", zt::DT_I8},       {"unsignedbyte", zt::DT_U8},   {"signedshort", zt::DT_I16},
        {"unsignedshort", zt::DT_U16},   {"signedinteger", zt::DT_I32}, {"unsignedinteger", zt::DT_U32},
        {"signedlong", zt::DT_I32},      {"unsignedlong", zt::DT_U32},  {"signed64", zt::DT_I64},
        {"unsigned64", zt::DT_U64},      {"float", zt::DT_FLOAT},       {"floatvalue", zt::DT_FLOAT},
        {"floatieee32", zt::DT_FLOAT},   {"double", zt::DT_DOUBLE},     {"doublevalue", zt::DT_DOUBLE},
        {"doubleieee64", zt::DT_DOUBLE},
    };
    const auto found = types.find(lowered(name));
    if (found == types.end())
        throw Error("the pixels have the unknown type \"" + name + "\" (DataType)");
    return found->second;
}

// Reads the header at `offset`, and returns its text and the offset after it; nothing if the file ends there.
std::optional<std::pair<std::string, zt::u64>> readHeader(FileBytes& file, zt::u64 offset) {
    constexpr std::size_t step = 512; // headers are padded to multiples of it
    constexpr std::size_t longest = std::size_t{1} << 20;
    std::string text;
    std::size_t searched = 0;
    while (text.size() < longest) {
        const std::size_t before = text.size();
        text.resize(before + step);
        const auto added = std::as_writable_bytes(std::span(text)).subspan(before);
        text.resize(before + file.readSome(offset + before, added));
        if (text.empty())
            return std::nullopt;
        if (text.front() != '{')
            throw Error("no header begins at byte " + std::to_string(offset));
        for (auto end = text.find('}', searched); end != std::string::npos; end = text.find('}', end + 1)) {
            const std::size_t lineEnd = text.find_first_not_of('\r', end + 1);
            if (lineEnd != std::string::npos && text[lineEnd] == '\n')
                return std::pair(text.substr(1, end - 1), offset + lineEnd + 1);
        }
        if (text.size() < before + step)
            throw Error("the header at byte " + std::to_string(offset) + " is truncated");
        searched = text.size() - 2;
    }
    throw Error("the header at byte " + std::to_string(offset) + " has no end");
}

// What would be read wrongly.
void checkPlain(const Header& header) {
    const std::string compression = lowered(header.text("Compression").value_or("none"));
    if (!compression.empty() && !compression.starts_with("no"))
        throw Error("its pixels are compressed (" + compression + "); save them without compression");
    if (header.text("EDF_BinaryFileName"))
        throw Error("its pixels are in another file (EDF_BinaryFileName)");
    if (header.number<zt::u32>("Dim_3").value_or(1) != 1)
        throw Error("its images have three axes; frames have two");
}

std::optional<double> timeOf(const Header& header) {
    for (const char* key : {"count_time", "exposure_time", "ExposureTime"})
        if (const auto text = header.text(key))
            if (const auto seconds = readNumber<double>(text->substr(0, text->find_first_of(blanks))))
                return seconds;
    return std::nullopt;
}

} // namespace

struct EdfFile::Image {
    zt::u32 width = 0;
    zt::u32 height = 0;
    zt::u8 pixelType = 0;
    std::string byteOrder;
    double seconds = 0;
    zt::u64 bytes = 0; // of the pixels
    zt::u64 size = 0;  // with what follows them
    zt::u64 offset = 0;

    Image(const Header& header, zt::u64 offsetOfPixels, zt::u64 mostBytes) : offset(offsetOfPixels) {
        checkPlain(header);
        width = header.neededNumber<zt::u32>("Dim_1");
        height = header.number<zt::u32>("Dim_2").value_or(1);
        pixelType = pixelTypeOf(header.text("DataType").value_or(""));
        byteOrder =
            lowered(header.text("ByteOrder").value_or(pixelSize(pixelType) == 1 ? "lowbytefirst" : ""));
        if (byteOrder != "lowbytefirst" && byteOrder != "highbytefirst")
            throw Error("its header does not state the order of bytes (ByteOrder)");
        const double claimed =
            static_cast<double>(width) * height * static_cast<double>(pixelSize(pixelType));
        if (claimed == 0 || claimed > static_cast<double>(mostBytes))
            throw Error("the file is truncated or damaged: the header claims " + sizeText(width, height) +
                        " pixels");
        bytes = zt::u64{width} * height * pixelSize(pixelType);
        size = header.number<zt::u64>("Size").value_or(bytes);
        if (size < bytes || size > mostBytes)
            throw Error("the file is damaged: its " + sizeText(width, height) + " pixels cannot have " +
                        countText(size, "byte"));
        if (const auto time = timeOf(header); time && *time > 0 && *time < 1e9)
            seconds = *time;
    }
};

EdfFile::EdfFile(const std::string& path) : file{path} {
    fileInfo.path = path;
    fileInfo.format = "EDF";
    gatherImages();
    fileInfo.frames = static_cast<zt::u32>(offsets.size());
    if (std::ranges::any_of(times, [](double seconds) { return seconds > 0; }))
        fileInfo.acqTime = times.front();
    else
        times.clear();
}

void EdfFile::gatherImages() {
    zt::u64 offset = 0;
    for (;;) {
        const std::string name = where(static_cast<zt::u32>(offsets.size()));
        try {
            const auto header = readHeader(file, offset);
            if (!header)
                return;
            const Image image(Header(header->first), header->second, file.mostBytes());
            addImage(image);
            offset = image.offset + image.size;
            file.checkHolds(image.offset + image.bytes);
        } catch (const Error& error) {
            throw Error(name + ": " + error.what());
        }
    }
}

void EdfFile::addImage(const Image& image) {
    if (offsets.empty()) {
        fileInfo.width = image.width;
        fileInfo.height = image.height;
        fileInfo.pixelType = image.pixelType;
        byteOrder = image.byteOrder;
        isSwapped = (byteOrder == "lowbytefirst") != (std::endian::native == std::endian::little);
    } else if (image.width != fileInfo.width || image.height != fileInfo.height ||
               image.pixelType != fileInfo.pixelType || image.byteOrder != byteOrder) {
        throw Error("its size, type or order of bytes differs from that of frame 0; the frames of one file "
                    "must be alike");
    }
    constexpr std::size_t mostImages = 10'000'000; // a small compressed file could claim any number
    if (offsets.size() == mostImages)
        throw Error("the file holds more than " + countText(mostImages, "image"));
    offsets.push_back(image.offset);
    times.push_back(image.seconds);
}

double EdfFile::acqTime(zt::u32 frame) const {
    return times.empty() ? 0 : times[frame];
}

std::optional<FrameFile::RawImage> EdfFile::rawImage(zt::u32 frame, zt::u32) const {
    const FileDescriptor* const plain = file.plain();
    if (!plain || isSwapped)
        return std::nullopt;
    return RawImage{*plain, offsets[frame]};
}

void EdfFile::readStored(zt::u32 frame, zt::u32, std::span<std::byte> pixels) {
    try {
        file.read(offsets[frame], pixels);
    } catch (const Error& error) {
        throw Error(where(frame) + ": " + error.what());
    }
    if (isSwapped)
        swapPixelBytes(pixels, pixelSize(fileInfo.pixelType));
}

} // namespace ombrel
