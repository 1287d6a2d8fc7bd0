#include "tiff/TiffFile.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "frame/PixelType.h"
#include "tiff/TiffLayout.h"

#include <algorithm>

namespace ombrel {

namespace {

std::string kindText(const TiffPage& page) {
    return sizeText(page.width, page.height) + ' ' +
           std::string(page.isHalf() ? "f16" : pixelTypeName(page.pixelType));
}

} // namespace

TiffFile::TiffFile(const std::string& path)
    : file{FileDescriptor::openForReading(path)}, tiff{path}, isSwapped{TIFFIsByteSwapped(tiff.get()) != 0} {
    fileInfo.path = path;
    fileInfo.format = "TIFF";
    gatherPages();
    fileInfo.width = pages.front().width;
    fileInfo.height = pages.front().height;
    fileInfo.pixelType = pages.front().pixelType;
    fileInfo.frames = pages.size() == 1 ? pages.front().images : static_cast<zt::u32>(pages.size());
    findPacking();
    scratchBytes = (TIFFIsTiled(tiff.get()) ? TIFFTileSize64(tiff.get()) : 0) +
                   (pages.front().isHalf() || fileInfo.packing ? pages.front().imageBytes() : 0);
}

// An output of ombrel in 16 bits says in its description how values are stored.
void TiffFile::findPacking() {
    const ImageTags tags = tagsOf(0);
    if (pages.front().storedPixelBytes != 2 ||
        !tags.text(ImageText::Software, 0).starts_with(TiffLayout::runPrefix))
        return;
    fileInfo.packing = packingDescribed(tags.text(ImageText::Description, 0));
    if (!fileInfo.packing)
        return;
    fileInfo.packing->isHalf = pages.front().isHalf();
    fileInfo.pixelType = zt::DT_DOUBLE;
}

ImageTags TiffFile::tagsOf(zt::u32 frame) const {
    constexpr zt::u16 tags[imageTexts] = {TIFFTAG_IMAGEDESCRIPTION, TIFFTAG_SOFTWARE, TIFFTAG_DATETIME,
                                          TIFFTAG_PAGENAME};
    const TiffPage& page = pageOf(frame);
    const TiffDirectory directory = readDirectory(page.directoryOffset);
    ImageTags found;
    for (std::size_t kind = 0; kind < imageTexts; ++kind)
        if (std::string text = directory.text(file, tags[kind]); !text.empty())
            found.texts[kind] = {std::move(text)};
    const auto x = directory.ratio(file, TIFFTAG_XRESOLUTION);
    const auto y = directory.ratio(file, TIFFTAG_YRESOLUTION);
    const auto unit = directory.wholeNumber(TIFFTAG_RESOLUTIONUNIT).value_or(RESUNIT_INCH);
    if (x && y)
        found.resolution = Resolution{*x, *y, static_cast<zt::u16>(unit), page.width, page.height};
    return found;
}

void TiffFile::gatherPages() {
    std::unordered_set<zt::u64> directories;
    zt::u64 next = TIFFCurrentDirOffset(tiff.get());
    while (next != 0) {
        const std::string page = where(static_cast<zt::u32>(pages.size()));
        if (!directories.insert(next).second)
            throw Error(page + ": the file is damaged: its pages lead back to an earlier one");
        if (TIFFCurrentDirOffset(tiff.get()) != next && TIFFSetSubDirectory(tiff.get(), next) != 1)
            throw Error(page + ": the file is truncated or damaged: this page cannot be read" +
                        tiff.reason());
        pages.push_back(examineTiffPage(tiff, page, file.size()));
        checkLikeFirst(pages.back(), page);
        next = gatherLikeLast(directories);
    }
    if (pages.size() == 1)
        gatherStack();
}

// Collects the following pages that differ from the last one only by their offsets. Returns the offset of the
// next directory.
zt::u64 TiffFile::gatherLikeLast(std::unordered_set<zt::u64>& directories) {
    const zt::u64 fileSize = file.size();
    TiffPage page = pages.back();
    TiffDirectory directory = readDirectory(page.directoryOffset);
    while (page.pixelOffset && directory.hasOneStrip()) {
        const zt::u64 next = directory.next();
        if (next == 0 || directories.contains(next) || !directory.moveTo(file, next))
            return next;
        page.directoryOffset = next;
        page.pixelOffset = directory.stripOffset();
        // A page outside the file is left to the library, which reports what is wrong.
        if (*page.pixelOffset == 0 || *page.pixelOffset > fileSize ||
            std::max(directory.stripBytes(), page.imageBytes()) > fileSize - *page.pixelOffset)
            return next;
        directories.insert(next);
        pages.push_back(page);
    }
    return directory.next();
}

// The library treats a truncated link as the end of the pages.
TiffDirectory TiffFile::readDirectory(zt::u64 offset) const {
    try {
        return {file, {TIFFIsBigTIFF(tiff.get()) != 0, isSwapped}, offset};
    } catch (const Error&) {
        throw Error(where(static_cast<zt::u32>(pages.size() - 1)) +
                    ": the file is truncated after this page");
    }
}

// One directory may describe several consecutive images.
void TiffFile::gatherStack() {
    TiffPage& page = pages.front();
    const zt::u32 images = imagesDescribed(tiff);
    if (images == 1)
        return;
    const std::string claim =
        fileInfo.path + ": its description names " + std::to_string(images) + " images, but ";
    if (!page.pixelOffset)
        throw Error(claim + "it has one directory, whose pixels are compressed or in several pieces");
    const zt::u64 held = (file.size() - *page.pixelOffset) / page.imageBytes();
    if (held < images)
        throw Error(claim + "the file is truncated or damaged: there is room for " + std::to_string(held));
    page.images = images;
}

void TiffFile::checkLikeFirst(const TiffPage& page, const std::string& name) const {
    const TiffPage& first = pages.front();
    if (page.width != first.width || page.height != first.height || page.pixelType != first.pixelType ||
        page.storedPixelBytes != first.storedPixelBytes)
        throw Error(name + " is " + kindText(page) + ", but frame 0 is " + kindText(first) +
                    "; the frames of one file must be alike");
}

const TiffPage& TiffFile::pageOf(zt::u32 frame) const {
    const bool isStack = pages.front().images > 1;
    return pages.at(isStack ? 0 : frame);
}

// Of a page whose pixels are contiguous.
zt::u64 TiffFile::pixelOffset(const TiffPage& page, zt::u32 frame) const {
    return *page.pixelOffset + (page.images > 1 ? frame * page.imageBytes() : 0);
}

std::optional<FrameFile::RawImage> TiffFile::rawImage(zt::u32 frame, zt::u32) const {
    const TiffPage& page = pageOf(frame);
    if (!page.pixelOffset || isSwapped || page.isHalf() || fileInfo.packing)
        return std::nullopt;
    return RawImage{file, pixelOffset(page, frame)};
}

void TiffFile::readStored(zt::u32 frame, zt::u32, std::span<std::byte> pixels) {
    const TiffPage& page = pageOf(frame);
    if (!page.isHalf() && !fileInfo.packing)
        return readPage(page, frame, pixels);
    halves.resize(page.imageBytes());
    readPage(page, frame, halves);
    const std::span<const zt::u16> stored(reinterpret_cast<const zt::u16*>(halves.data()), halves.size() / 2);
    if (fileInfo.packing)
        return fileInfo.packing->unpack(
            stored, {reinterpret_cast<double*>(pixels.data()), pixels.size() / sizeof(double)});
    std::ranges::transform(stored, reinterpret_cast<float*>(pixels.data()), floatOfHalf);
}

// Reads the pixels in their stored type.
void TiffFile::readPage(const TiffPage& page, zt::u32 frame, std::span<std::byte> pixels) {
    if (page.pixelOffset)
        return readPlain(page, frame, pixels);
    if (TIFFCurrentDirOffset(tiff.get()) != page.directoryOffset &&
        TIFFSetSubDirectory(tiff.get(), page.directoryOffset) != 1)
        throw Error(where(frame) + ": cannot be read" + tiff.reason());
    TIFFIsTiled(tiff.get()) ? readTiles(where(frame), pixels) : readStrips(where(frame), pixels);
}

void TiffFile::readPlain(const TiffPage& page, zt::u32 frame, std::span<std::byte> pixels) const {
    if (const auto failure = file.tryReadAt(pixelOffset(page, frame), pixels))
        throw Error(where(frame) + ": " + *failure);
    if (isSwapped)
        swapPixelBytes(pixels, page.storedPixelBytes);
}

void TiffFile::readStrips(const std::string& page, std::span<std::byte> pixels) const {
    const zt::u32 count = TIFFNumberOfStrips(tiff.get());
    for (zt::u32 strip = 0; strip < count; ++strip) {
        const auto size = std::min<std::size_t>(pixels.size(), TIFFStripSize64(tiff.get()));
        if (TIFFReadEncodedStrip(tiff.get(), strip, pixels.data(), static_cast<tmsize_t>(size)) !=
            static_cast<tmsize_t>(size))
            throw Error(page + ": strip " + std::to_string(strip) + " cannot be read" + tiff.reason());
        pixels = pixels.subspan(size);
    }
}

void TiffFile::readTiles(const std::string& page, std::span<std::byte> pixels) {
    zt::u32 tileWidth = 0;
    zt::u32 tileHeight = 0;
    TIFFGetField(tiff.get(), TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(tiff.get(), TIFFTAG_TILELENGTH, &tileHeight);
    tile.resize(TIFFTileSize64(tiff.get()));
    const std::size_t pixelBytes = pages.front().storedPixelBytes;
    for (zt::u32 top = 0; top < fileInfo.height; top += tileHeight)
        for (zt::u32 left = 0; left < fileInfo.width; left += tileWidth) {
            if (TIFFReadTile(tiff.get(), tile.data(), left, top, 0, 0) != static_cast<tmsize_t>(tile.size()))
                throw Error(page + ": the tile at " + std::to_string(left) + ", " + std::to_string(top) +
                            " cannot be read" + tiff.reason());
            const std::size_t rowBytes = std::min(tileWidth, fileInfo.width - left) * pixelBytes;
            const zt::u32 rows = std::min(tileHeight, fileInfo.height - top);
            for (zt::u32 row = 0; row < rows; ++row)
                std::copy_n(tile.data() + std::size_t{row} * tileWidth * pixelBytes, rowBytes,
                            pixels.data() + ((std::size_t{top} + row) * fileInfo.width + left) * pixelBytes);
        }
}

} // namespace ombrel
