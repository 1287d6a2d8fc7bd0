#include "tiff/TiffLayout.h"

#include "base/Numbers.h"
#include "frame/PixelType.h"

#include <tiff.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <span>
#include <sstream>
#include <string_view>

namespace ombrel {

namespace {

// What the description of a source says of its own storage: number and order of its images, range of display,
// calibration. It does not hold for the output.
bool isOnStorage(std::string_view line) {
    constexpr std::string_view keys[] = {
        "images=", "channels=", "slices=", "frames=", "hyperstack=", "mode=", "loop=", "min=",
        "max=",    "cf=",       "c0=",     "c1=",     "c2=",         "c3=",   "c4=",   "vunit="};
    return std::ranges::any_of(keys, [&](std::string_view key) { return line.starts_with(key); });
}

constexpr std::string_view imageJ = "ImageJ=";

std::string withoutStorage(const std::string& description) {
    if (!description.starts_with(imageJ))
        return description;
    std::istringstream lines(description);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (!isOnStorage(line))
            kept += line + '\n';
    return kept;
}

// ImageJ shows values instead of stored numbers for a description of this form.
std::string withPacking(const std::string& description, const PixelPacking& packing) {
    const bool hasTitle = description.starts_with(imageJ);
    const auto titleEnd = hasTitle ? description.find('\n') + 1 : 0;
    return (hasTitle ? description.substr(0, titleEnd) : "ImageJ=1.53\n") +
           "cf=0\nc0=" + numberText(packing.offset) + "\nc1=" + numberText(packing.scale) + '\n' +
           description.substr(titleEnd);
}

std::vector<std::string> descriptionsFor(const OutputPlan& plan) {
    std::vector<std::string> all = plan.tags.texts[static_cast<std::size_t>(ImageText::Description)];
    const bool isPacked =
        plan.packing && (!plan.packing->isHalf || plan.packing->scale != 1 || plan.packing->offset != 0);
    if (all.empty() && isPacked)
        all.emplace_back();
    for (std::string& text : all) {
        text = withoutStorage(text);
        if (isPacked)
            text = withPacking(text, *plan.packing);
    }
    return all;
}

} // namespace

std::optional<PixelPacking> packingDescribed(const std::string& description) {
    const auto number = [&](const std::string& key) {
        const auto begin = description.find('\n' + key + '=');
        if (begin == std::string::npos)
            return std::optional<double>();
        const std::string rest = description.substr(begin + key.size() + 2);
        return readNumber<double>(rest.substr(0, rest.find('\n')));
    };
    const auto offset = number("c0");
    const auto scale = number("c1");
    if (!description.starts_with(imageJ) || number("cf") != 0 || !offset || !scale)
        return std::nullopt;
    return PixelPacking{.scale = *scale, .offset = *offset};
}

namespace {

class Bytes {
public:
    template <typename T>
    void add(T value) {
        const auto bytes = std::as_bytes(std::span(&value, 1));
        content.insert(content.end(), bytes.begin(), bytes.end());
    }
    // A count or an offset: 8 bytes in BigTIFF.
    void addWide(zt::u64 value, bool big) { big ? add(value) : add(static_cast<zt::u32>(value)); }

    void addText(std::string_view text) {
        const auto bytes = std::as_bytes(std::span(text));
        content.insert(content.end(), bytes.begin(), bytes.end());
    }

    std::vector<std::byte> take() { return std::move(content); }

private:
    std::vector<std::byte> content;
};

// The start of a directory entry: `count` values of that type.
void addField(Bytes& bytes, zt::u16 tag, zt::u16 type, zt::u64 count, bool big) {
    bytes.add(tag);
    bytes.add(type);
    bytes.addWide(count, big);
}

// An entry with a single value. A value shorter than its field is at the start of the field.
void addEntry(Bytes& bytes, zt::u16 tag, zt::u16 type, zt::u64 value, bool big) {
    addField(bytes, tag, type, 1, big);
    if (type == TIFF_SHORT) {
        bytes.add(static_cast<zt::u16>(value));
        bytes.add(zt::u16{0});
    } else if (type == TIFF_LONG || !big) {
        bytes.add(static_cast<zt::u32>(value));
    } else {
        bytes.add(value);
    }
    if (big && (type == TIFF_SHORT || type == TIFF_LONG))
        bytes.add(zt::u32{0});
}

// A text that fits is in the entry itself.
void addTextEntry(Bytes& bytes, zt::u16 tag, const std::string& text, zt::u64 offset, bool big) {
    const std::size_t room = big ? 8 : 4;
    addField(bytes, tag, TIFF_ASCII, text.size() + 1, big);
    if (text.size() >= room)
        return bytes.addWide(offset, big);
    bytes.addText(text);
    bytes.addText(std::string(room - text.size(), '\0'));
}

// The value in the entry of a ratio: the numbers themselves if they fit, or else their offset.
zt::u64 ratioValue(const Ratio& ratio, zt::u64 offset, bool big) {
    if (!big)
        return offset;
    zt::u64 value = 0;
    std::memcpy(&value, &ratio, sizeof value);
    return value;
}

} // namespace

TiffLayout::TiffLayout(const OutputPlan& outputPlan, const std::string& run)
    : plan{outputPlan}, frameBytes{zt::u64{plan.width} * plan.height * pixelSize(plan.pixelType)} {
    const auto build = [&] {
        textTags.clear();
        shared.clear();
        addTexts(run);
        addResolution();
    };
    build();
    big = pixelOffset(plan.frames) > std::numeric_limits<zt::u32>::max();
    if (big) // every offset changes
        build();
}

void TiffLayout::addTexts(const std::string& run) {
    const auto carried = [&](ImageText kind) { return plan.tags.texts[static_cast<std::size_t>(kind)]; };
    std::string software = plan.tags.text(ImageText::Software, 0);
    if (software.starts_with(runPrefix)) // an output of ombrel was corrected again
        software.erase(0, std::min(software.find(afterRun), software.size() - 2) + 2);
    addText(TIFFTAG_SOFTWARE, {runPrefix + run + (software.empty() ? "" : afterRun) + software});
    addText(TIFFTAG_IMAGEDESCRIPTION, descriptionsFor(plan));
    addText(TIFFTAG_PAGENAME, carried(ImageText::PageName));
    addText(TIFFTAG_DATETIME, carried(ImageText::Date));
    std::ranges::sort(textTags, {}, &TextTag::tag);
    textBytes = 0;
    for (zt::u64 page = 0; page < plan.frames; ++page) {
        zt::u64 bytes = 0;
        for (const TextTag& text : textTags)
            bytes += text.texts.size() == 1 ? 0 : text.of(page).size() + 1;
        if (bytes == 0)
            break;
        textBytes = std::max(textBytes, bytes);
    }
    textBytes += textBytes % 2;
}

void TiffLayout::addText(zt::u16 tag, std::vector<std::string> texts) {
    if (texts.empty() || (texts.size() != 1 && texts.size() != plan.frames))
        return;
    TextTag text{tag, std::move(texts), headerBytes() + shared.size()};
    if (text.texts.size() == 1)
        shared += text.texts.front() + '\0';
    textTags.push_back(std::move(text));
}

void TiffLayout::addResolution() {
    resolution = plan.tags.resolution;
    if (resolution && (resolution->width != plan.width || resolution->height != plan.height))
        resolution.reset();
    if (!resolution)
        return;
    shared.resize((shared.size() + 3) / 4 * 4);
    resolutionOffset = headerBytes() + shared.size();
    for (const Ratio& ratio : {resolution->x, resolution->y})
        for (const zt::u32 number : {ratio.numerator, ratio.denominator})
            shared.append(reinterpret_cast<const char*>(&number), sizeof number);
}

// Where the text of a page is.
zt::u64 TiffLayout::textOffset(const TextTag& wanted, zt::u64 page) const {
    if (wanted.texts.size() == 1)
        return wanted.offset;
    zt::u64 offset = textOffset(page);
    for (const TextTag& text : textTags) {
        if (text.tag == wanted.tag)
            break;
        offset += text.texts.size() == 1 ? 0 : text.of(page).size() + 1;
    }
    return offset;
}

zt::u64 TiffLayout::directoryBytes() const {
    const zt::u64 count = big ? 8 : 2;
    const zt::u64 entry = big ? 20 : 12;
    return count + entryCount() * entry + linkBytes();
}

// Large frames are aligned to memory pages: this makes reading and writing up to twice as fast.
zt::u64 TiffLayout::aligned(zt::u64 offset) const {
    constexpr zt::u64 large = 65536;
    const zt::u64 alignment = frameBytes >= large ? 4096 : 16;
    return (offset + alignment - 1) / alignment * alignment;
}

zt::u64 TiffLayout::linkOffset(zt::u64 page) const {
    return page == 0 ? headerBytes() - linkBytes()
                     : directoryOffset(page - 1) + directoryBytes() - linkBytes();
}

std::vector<std::byte> TiffLayout::header() const {
    Bytes bytes;
    bytes.add(zt::u16{std::endian::native == std::endian::little ? TIFF_LITTLEENDIAN : TIFF_BIGENDIAN});
    bytes.add(static_cast<zt::u16>(big ? TIFF_VERSION_BIG : TIFF_VERSION_CLASSIC));
    if (big) {
        bytes.add(zt::u16{8}); // bytes per offset
        bytes.add(zt::u16{0});
    }
    bytes.addWide(0, big);
    bytes.addText(shared);
    return bytes.take();
}

std::vector<std::byte> TiffLayout::texts(zt::u64 page) const {
    Bytes bytes;
    for (const TextTag& text : textTags)
        if (text.texts.size() != 1)
            bytes.addText(text.of(page) + '\0');
    std::vector<std::byte> all = bytes.take();
    all.resize(textBytes);
    return all;
}

std::vector<std::byte> TiffLayout::directory(zt::u64 page) const {
    const zt::u16 wide = big ? TIFF_LONG8 : TIFF_LONG;
    const bool isWhole = plan.packing && !plan.packing->isHalf;
    Bytes bytes;
    auto nextText = textTags.begin();
    const auto add = [&](zt::u16 tag, zt::u16 type, zt::u64 value) {
        for (; nextText != textTags.end() && nextText->tag < tag; ++nextText)
            addTextEntry(bytes, nextText->tag, nextText->of(page), textOffset(*nextText, page), big);
        addEntry(bytes, tag, type, value, big);
    };
    if (big)
        bytes.add(entryCount());
    else
        bytes.add(static_cast<zt::u16>(entryCount()));
    add(TIFFTAG_IMAGEWIDTH, TIFF_LONG, plan.width);
    add(TIFFTAG_IMAGELENGTH, TIFF_LONG, plan.height);
    add(TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 8 * pixelSize(plan.pixelType));
    add(TIFFTAG_COMPRESSION, TIFF_SHORT, COMPRESSION_NONE);
    add(TIFFTAG_PHOTOMETRIC, TIFF_SHORT, PHOTOMETRIC_MINISBLACK);
    add(TIFFTAG_STRIPOFFSETS, wide, pixelOffset(page));
    add(TIFFTAG_SAMPLESPERPIXEL, TIFF_SHORT, 1);
    add(TIFFTAG_ROWSPERSTRIP, TIFF_LONG, plan.height);
    add(TIFFTAG_STRIPBYTECOUNTS, wide, frameBytes);
    if (resolution) {
        add(TIFFTAG_XRESOLUTION, TIFF_RATIONAL, ratioValue(resolution->x, resolutionOffset, big));
        add(TIFFTAG_YRESOLUTION, TIFF_RATIONAL, ratioValue(resolution->y, resolutionOffset + 8, big));
        add(TIFFTAG_RESOLUTIONUNIT, TIFF_SHORT, resolution->unit);
    }
    add(TIFFTAG_SAMPLEFORMAT, TIFF_SHORT, isWhole ? SAMPLEFORMAT_UINT : SAMPLEFORMAT_IEEEFP);
    bytes.addWide(0, big);
    return bytes.take();
}

std::vector<std::byte> TiffLayout::linkTo(zt::u64 page) const {
    Bytes bytes;
    bytes.addWide(directoryOffset(page), big);
    return bytes.take();
}

} // namespace ombrel
