#include "stack/PixelMask.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "frame/PixelFaults.h"
#include "hdf5/Hdf5Mask.h"
#include "tiff/TiffOutput.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

namespace ombrel {

namespace {

constexpr std::string_view listTitle = "# bad pixels of ";
constexpr zt::u64 longestList = zt::u64{1} << 28; // bytes

// An image as read, whose values have no convention yet.
struct PlainMask {
    PixelMask mask;
    bool hasReasons = false; // the values are bits, and 0 is good
};

std::string textOf(const std::string& path) {
    const FileDescriptor file = FileDescriptor::openForReading(path);
    checkRegular(file, path);
    if (file.size() > longestList)
        throw Error(path + ": is too long for a list of bad pixels");
    std::string text(static_cast<std::size_t>(file.size()), '\0');
    file.readAt(0, std::as_writable_bytes(std::span(text)));
    return text;
}

void addPixel(PixelMask& mask, const std::string& path, zt::i64 x, zt::i64 y, zt::u32 faults) {
    if (x < 0 || y < 0 || x >= mask.width || y >= mask.height)
        throw Error(path + ": pixel " + std::to_string(x) + ", " + std::to_string(y) +
                    " is outside the frames of " + sizeText(mask.width, mask.height) + " pixels");
    mask.faults[static_cast<std::size_t>(y) * mask.width + static_cast<std::size_t>(x)] |= faults;
}

// {"Bad pixels": [{"Pixel": [x, y], ...}, ...]}
void readJsonList(PixelMask& mask, const std::string& path, const std::string& text) {
    QJsonParseError problem;
    const QJsonDocument json = QJsonDocument::fromJson(QByteArray::fromStdString(text), &problem);
    const QJsonValue list = json.object().value("Bad pixels");
    if (json.isNull() || !list.isArray())
        throw Error(path + ": is not a list of bad pixels: " +
                    (json.isNull() ? problem.errorString().toStdString() : "\"Bad pixels\" is missing"));
    for (const QJsonValue& entry : list.toArray()) {
        const QJsonArray pixel = entry["Pixel"].toArray();
        if (pixel.size() != 2 || !pixel[0].isDouble() || !pixel[1].isDouble())
            throw Error(path + ": an entry of \"Bad pixels\" has no \"Pixel\": [x, y]");
        addPixel(mask, path, pixel[0].toInteger(-1), pixel[1].toInteger(-1), fault::masked);
    }
}

void readTextList(PixelMask& mask, const std::string& path, const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    const std::string size = sizeText(mask.width, mask.height);
    if (line != std::string(listTitle) + size)
        throw Error(path + ": the mask has " + line.substr(listTitle.size()) + " pixels, the frames have " +
                    size);
    for (int number = 2; std::getline(lines, line); ++number) {
        zt::i64 x = 0;
        zt::i64 y = 0;
        zt::u32 faults = 0;
        if (line.empty() || line.starts_with('#'))
            continue;
        if (!(std::istringstream(line) >> x >> y >> faults))
            throw Error(path + ", line " + std::to_string(number) + ": is not of the form X Y BITS");
        addPixel(mask, path, x, y, faults);
    }
}

// False for a file that is not a list.
bool readList(PixelMask& mask, const std::string& path) {
    const std::string text = textOf(path);
    if (text.starts_with(listTitle))
        readTextList(mask, path, text);
    else if (const auto first = text.find_first_not_of(" \t\r\n");
             first != std::string::npos && text[first] == '{')
        readJsonList(mask, path, text);
    else
        return false;
    return true;
}

void checkSize(const std::string& source, zt::u32 width, zt::u32 height, const PixelMask& frames) {
    if (width != frames.width || height != frames.height)
        throw Error(source + ": the mask has " + sizeText(width, height) + " pixels, the frames have " +
                    sizeText(frames.width, frames.height) + "; give --device-mask none or another file");
}

// Each of these takes the size of the frames from the mask that it reads, and allocates no other one.

void readMaskDataset(PlainMask& plain, const std::string& file, const Hdf5MaskImage& image) {
    PixelMask& mask = plain.mask;
    mask.source = file + "::" + image.dataset;
    checkSize(mask.source, image.width, image.height, mask);
    mask.faults = readHdf5Mask(file, image);
    plain.hasReasons = isMaskDataset(image.dataset);
    if (image.isBoolean && plain.hasReasons)
        for (zt::u32& value : mask.faults)
            value *= fault::masked;
}

// The first frame of a file.
void readPlainFrame(PlainMask& plain, const std::string& path) {
    const auto file = FrameFile::open(path);
    checkSize(path, file->info().width, file->info().height, plain.mask);
    const FramePtr frame = file->readFrame(0);
    frame->convertToType(zt::DT_DOUBLE);
    std::ranges::transform(std::as_const(*frame).pixels<double>(), plain.mask.faults.begin(),
                           [](double pixel) { return pixel != 0; });
    plain.hasReasons = false;
}

void readImage(PlainMask& plain, const std::string& path) {
    const std::string file = splitDatasetPath(path).file;
    if (fileKind(FileDescriptor::openForReading(file)) == FileKind::Hdf5)
        if (const auto image = findHdf5Mask(path))
            return readMaskDataset(plain, file, *image);
    readPlainFrame(plain, path);
}

// Turns the values into faults.
void applyConvention(PlainMask& plain, const std::string& convention) {
    PixelMask& mask = plain.mask;
    const bool zeroIsGood = convention.empty() ? plain.hasReasons : convention == "nexus";
    if (!zeroIsGood || !plain.hasReasons)
        for (zt::u32& value : mask.faults)
            value = (value != 0) == zeroIsGood ? fault::masked : 0;
    if (convention.empty() && !plain.hasReasons && mask.masked() * 2 > mask.faults.size())
        throw Error(
            mask.source + ": masks " + std::to_string(mask.masked()) + " of " +
            countText(mask.faults.size(), "pixel") +
            ", since 0 means masked in a plain image; give --mask-convention nexus if 0 means good, or "
            "ones-good if the mask is right");
}

} // namespace

zt::u64 PixelMask::masked() const {
    return countFaulty(faults);
}

std::vector<zt::u8> PixelMask::deviceBytes() const {
    std::vector<zt::u8> bytes(faults.size());
    std::ranges::transform(faults, bytes.begin(), [](zt::u32 value) { return value == 0; });
    return bytes;
}

std::string PixelMask::hash() const {
    return hashText(pixelHash(std::as_bytes(std::span(faults))));
}

PixelMask readPixelMask(const std::string& path, const std::string& convention, zt::u32 width,
                        zt::u32 height) {
    PlainMask plain{{width, height, std::vector<zt::u32>(std::size_t{width} * height), path}, true};
    const FileKind kind = fileKind(FileDescriptor::openForReading(splitDatasetPath(path).file));
    if (kind != FileKind::Other || !readList(plain.mask, path)) {
        readImage(plain, path);
        applyConvention(plain, convention);
    }
    if (plain.mask.masked() == plain.mask.faults.size())
        throw Error(plain.mask.source + ": masks all pixels; give --device-mask none or another file");
    return std::move(plain.mask);
}

std::optional<PixelMask> deviceMaskFor(const MaskOptions& options, const FrameFileInfo& frames) {
    if (options.isFile())
        return readPixelMask(options.source, options.convention, frames.width, frames.height);
    if (options.source == "none" || frames.maskDataset.empty())
        return std::nullopt;
    const std::string path = splitDatasetPath(frames.path).file + "::" + frames.maskDataset;
    PixelMask mask = readPixelMask(path, options.convention, frames.width, frames.height);
    return mask.masked() == 0 ? std::nullopt : std::optional(std::move(mask));
}

std::string maskNote(const MaskOptions& options, const PixelMask& mask) {
    return options.isFile()
               ? std::string()
               : "using the mask next to the frames, " + mask.source + ": " +
                     countText(mask.masked(), "pixel") + " masked; --device-mask none ignores it";
}

namespace {

enum class MaskFormat { Unknown, Nexus, Tiff, Text };

MaskFormat formatOf(const std::string& path) {
    const auto isOneOf = [&](std::initializer_list<const char*> suffixes) {
        return std::ranges::any_of(suffixes, [&](const char* suffix) { return hasSuffix(path, suffix); });
    };
    return isOneOf({".h5", ".hdf5", ".nxs"}) ? MaskFormat::Nexus
           : isOneOf({".tif", ".tiff"})      ? MaskFormat::Tiff
           : isOneOf({".txt"})               ? MaskFormat::Text
                                             : MaskFormat::Unknown;
}

std::string listOf(const PixelMask& mask) {
    std::string text = std::string(listTitle) + sizeText(mask.width, mask.height) + "\n# x y bits reasons\n";
    for (std::size_t i = 0; i < mask.faults.size(); ++i)
        if (mask.faults[i] != 0)
            text += std::to_string(i % mask.width) + ' ' + std::to_string(i / mask.width) + ' ' +
                    std::to_string(mask.faults[i]) + ' ' + faultText(mask.faults[i]) + '\n';
    return text;
}

} // namespace

bool isMaskPath(const std::string& path) {
    return formatOf(path) != MaskFormat::Unknown;
}

void writePixelMask(const std::string& path, const PixelMask& mask) {
    switch (formatOf(path)) {
    case MaskFormat::Nexus:
        return writeHdf5Mask(path, mask.width, mask.height, mask.faults);
    case MaskFormat::Tiff:
        return writeTiffImage(path, mask.width, mask.deviceBytes());
    case MaskFormat::Text:
        return replaceFile(path, listOf(mask));
    case MaskFormat::Unknown:
        throw Error(path + ": the name of a mask must end in .h5, .hdf5, .nxs, .tif, .tiff or .txt");
    }
}

} // namespace ombrel
