// What the pages of TIFF files hold on their images, for outputs in both formats.

#include "metadata/PageTags.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "hdf5/Hdf5File.h"
#include "hdf5/Hdf5Values.h"
#include "metadata/Hdf5Copy.h"
#include "metadata/Metadata.h"
#include "tiff/TiffFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace ombrel {

namespace {

constexpr zt::u64 mostTextBytes = zt::u64{1} << 24; // of one output

FileKind kindOf(const FramesOfFile& source) {
    return fileKind(FileDescriptor::openForReading(splitDatasetPath(source.path).file));
}

// Pixels per centimetre, from a pixel size with its unit; nothing without.
std::optional<Ratio> pixelsPerCentimetre(hid_t file, const std::string& path) {
    constexpr zt::u32 numerator = 1'000'000'000;
    const auto size = numbersAt(file, path, 1);
    if (!size || size->unit.empty())
        return std::nullopt;
    const double denominator = std::nearbyint(100 * size->values[0] * metresIn(size->unit) * numerator);
    if (!(denominator >= 1 && denominator <= std::numeric_limits<zt::u32>::max()))
        return std::nullopt;
    return Ratio{numerator, static_cast<zt::u32>(denominator)};
}

// The resolution by the pixel sizes of the detector.
std::optional<Resolution> resolutionOf(const FramesOfFile& source) {
    constexpr zt::u16 perCentimetre = 3;
    const Hdf5Session session;
    const Hdf5File file(source.path, FrameRole::Sample);
    try {
        for (const std::string& group : file.info().groups) {
            const auto x = pixelsPerCentimetre(file.handle(), group + "/x_pixel_size");
            const auto y = pixelsPerCentimetre(file.handle(), group + "/y_pixel_size");
            if (x && y)
                return Resolution{*x, *y, perCentimetre, file.info().width, file.info().height};
        }
    } catch (const Error&) { // their unit or their source: what cannot be read is left out
    }
    return std::nullopt;
}

// The tags of all frames, one after the other.
class TagCollector {
public:
    void add(const ImageTags& page) {
        for (std::size_t kind = 0; kind < imageTexts; ++kind) {
            const std::string& text = page.text(static_cast<ImageText>(kind), 0);
            auto& texts = tags.texts[kind];
            const bool isNew = frames > 0 && !differs[kind] && text != texts.front();
            if (isNew) // until now, one text was that of all frames
                texts.assign(frames, std::string(texts.front()));
            differs[kind] = differs[kind] || isNew;
            if (frames == 0 || differs[kind])
                texts.push_back(text);
            if (differs[kind])
                textBytes += text.size() + 1;
        }
        if (frames == 0)
            tags.resolution = page.resolution;
        if (tags.resolution != page.resolution)
            tags.resolution.reset();
        ++frames;
    }

    ImageTags take() {
        for (auto& texts : tags.texts)
            if ((texts.size() > 1 && textBytes > mostTextBytes) ||
                std::ranges::all_of(texts, &std::string::empty))
                texts.clear();
        return std::move(tags);
    }

private:
    ImageTags tags;
    std::array<bool, imageTexts> differs{}; // there is a text for each frame
    zt::u64 frames = 0;
    zt::u64 textBytes = 0;
};

} // namespace

ImageTags imageTagsOf(const std::vector<FramesOfFile>& sources) {
    const auto all = [&](FileKind kind) {
        return std::ranges::all_of(sources,
                                   [=](const FramesOfFile& source) { return kindOf(source) == kind; });
    };
    ImageTags tags;
    if (!sources.empty() && all(FileKind::Hdf5))
        tags.resolution = resolutionOf(sources.front());
    if (sources.empty() || !all(FileKind::Tiff))
        return tags;
    TagCollector collector;
    for (const FramesOfFile& source : sources) {
        const TiffFile file(splitDatasetPath(source.path).file);
        for (zt::u32 frame = source.begin; frame < source.end; ++frame)
            collector.add(file.tagsOf(frame));
    }
    return collector.take();
}

namespace {

constexpr char pagesGroup[] = "/measurement/tiff/";

Hdf5Dataset makeDataset(hid_t file, const std::string& name, hid_t type, hsize_t count) {
    const Hdf5Space space{count == 1 ? H5Screate(H5S_SCALAR) : H5Screate_simple(1, &count, nullptr)};
    return Hdf5Dataset{
        H5Dcreate2(file, name.c_str(), type, space, creatingGroups(), H5P_DEFAULT, H5P_DEFAULT)};
}

void writeRatio(hid_t file, const std::string& name, Ratio ratio, const char* unit) {
    const double value = static_cast<double>(ratio.numerator) / ratio.denominator;
    const Hdf5Dataset made = makeDataset(file, name, H5T_IEEE_F64LE, 1);
    if (H5Dwrite(made, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, &value) < 0)
        throw Error(name + " cannot be written" + Hdf5Session::reason());
    const Hdf5Type type = textType(std::string_view(unit).size());
    const Hdf5Space space{H5Screate(H5S_SCALAR)};
    const Hdf5Attribute units{H5Acreate2(made, "units", type, space, H5P_DEFAULT, H5P_DEFAULT)};
    H5Awrite(units, type, unit);
}

} // namespace

Hdf5Type textType(std::size_t bytes) {
    Hdf5Type type{H5Tcopy(H5T_C_S1)};
    H5Tset_size(type, std::max<std::size_t>(bytes, 1));
    H5Tset_strpad(type, H5T_STR_NULLPAD);
    H5Tset_cset(type, H5T_CSET_UTF8);
    return type;
}

void writeTexts(hid_t file, const std::string& name, const std::vector<std::string>& texts) {
    std::size_t longest = 1;
    for (const std::string& text : texts)
        longest = std::max(longest, text.size());
    std::string bytes;
    for (const std::string& text : texts)
        bytes += text + std::string(longest - text.size(), '\0');
    const Hdf5Type type = textType(longest);
    const Hdf5Dataset made = makeDataset(file, name, type, texts.size());
    if (H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()) < 0)
        throw Error(name + " cannot be written" + Hdf5Session::reason());
}

void writePageTags(hid_t file, const ImageTags& tags, zt::u64 frames) {
    for (std::size_t kind = 0; kind < imageTexts; ++kind) {
        std::vector<std::string> texts = tags.texts[kind];
        constexpr zt::u64 mostRepeated = zt::u64{1} << 20;
        // A list, so that parts of a run with different texts can be merged.
        if (texts.size() == 1 && frames * texts.front().size() <= mostRepeated)
            texts.assign(frames, std::string(texts.front()));
        if (!texts.empty())
            writeTexts(file, std::string(pagesGroup) + imageTextNames[kind], texts);
    }
    if (!tags.resolution)
        return;
    const char* const unit = tags.resolution->unit == 3 ? "1/cm" : tags.resolution->unit == 2 ? "1/inch" : "";
    writeRatio(file, std::string(pagesGroup) + "x_resolution", tags.resolution->x, unit);
    writeRatio(file, std::string(pagesGroup) + "y_resolution", tags.resolution->y, unit);
}

} // namespace ombrel
