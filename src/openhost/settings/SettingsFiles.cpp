#include "settings/SettingsFiles.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "settings/SettingsFile.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

namespace ombrel {

namespace {

constexpr std::string_view heapHashKey = "HeapHash";

bool namesInput(std::string_view key, const std::string& value) {
    std::error_code failure;
    return !namesLogFile(key) && !value.empty() && std::filesystem::is_regular_file(value, failure);
}

} // namespace

std::vector<std::string> filesUsedBy(const SettingsTree& settings, const std::string& path) {
    std::vector<std::string> files;
    const auto add = [&](const std::string& file) {
        if (std::ranges::find(files, file) == files.end())
            files.push_back(file);
    };
    std::error_code failure;
    if (const std::string heap = heapPathOf(path); std::filesystem::is_regular_file(heap, failure))
        add(heap);
    for (const SettingsGroup& group : settings.groups)
        for (const SettingsItem& item : group.items)
            if (const auto* const text = std::get_if<std::string>(&item.value))
                if (namesInput(item.key, *text))
                    add(*text);
    return files;
}

std::string heapPathOf(const std::string& settingsPath) {
    return std::filesystem::path(settingsPath).replace_extension(".bin").string();
}

void noteHeap(SettingsTree& settings, const std::string& heapFile) {
    settings.set(ownGroup, heapHashKey, fileHash(heapFile));
}

void checkHeap(const SettingsTree& settings, const std::string& settingsPath) {
    const SettingsValue* const noted = settings.find(ownGroup, heapHashKey);
    if (!noted)
        return;
    const std::string heap = heapPathOf(settingsPath);
    const auto* const hash = std::get_if<std::string>(noted);
    std::error_code failure;
    const bool isThere = std::filesystem::exists(heap, failure);
    if (hash && isThere && fileHash(heap) == *hash)
        return;
    throw Error(settingsPath + ": its calibration " + heap +
                (isThere ? " is not the one" : " is missing, the one") +
                " it was made with; calibrate again with --force, or copy both files again from one place");
}

namespace {

constexpr std::string_view groupsHashKey = "FilterGroupsHash";

// With the length first, so that no two sequences of texts give the same bytes.
void addText(StreamHash& hash, std::string_view text) {
    const zt::u64 length = text.size();
    hash.add(std::as_bytes(std::span(&length, 1)));
    hash.add(std::as_bytes(std::span(text)));
}

void addValue(StreamHash& hash, const SettingsValue& value) {
    addText(hash, settingsTypeName(value));
    if (const auto* const blob = std::get_if<Blob>(&value)) {
        addText(hash, std::to_string(blob->size()));
        for (const auto& piece : blob->pieces())
            hash.add(piece);
    } else if (const auto* const text = std::get_if<std::string>(&value)) {
        addText(hash, *text);
    } else if (const auto* const number = std::get_if<double>(&value)) {
        addText(hash, numberText(*number));
    } else {
        const auto* const whole = std::get_if<int>(&value);
        addText(hash, std::to_string(whole ? *whole : int{std::get<bool>(value)}));
    }
}

std::string filterGroupsHash(const SettingsTree& settings) {
    StreamHash hash;
    for (const SettingsGroup& group : settings.groups) {
        if (group.name == ownGroup)
            continue;
        addText(hash, group.name);
        addText(hash, std::to_string(group.items.size()));
        for (const SettingsItem& item : group.items) {
            addText(hash, item.key);
            addValue(hash, item.value);
        }
    }
    return hash.text();
}

} // namespace

void noteFilterGroups(SettingsTree& settings) {
    settings.set(ownGroup, groupsHashKey, filterGroupsHash(settings));
}

FilterGroups filterGroupsOf(const SettingsTree& settings) {
    const SettingsValue* const noted = settings.find(ownGroup, groupsHashKey);
    if (!noted)
        return FilterGroups::Unknown;
    const auto* const hash = std::get_if<std::string>(noted);
    return hash && *hash == filterGroupsHash(settings) ? FilterGroups::AsCalibrated : FilterGroups::Changed;
}

std::string changedSinceCalibration(const std::string& path) {
    return path +
           ": the filter's settings were changed since the calibration: its verdicts on flat fields no "
           "longer apply; calibrate again to have the flat fields judged";
}

bool looksLikeSettings(const std::string& path) {
    std::error_code failure;
    if (!std::filesystem::is_regular_file(path, failure))
        return false;
    const FileDescriptor file = FileDescriptor::openForReading(path);
    std::string begin(static_cast<std::size_t>(std::min<zt::u64>(file.size(), 64)), '\0');
    file.readAt(0, std::as_writable_bytes(std::span(begin)));
    const std::size_t mark = begin.starts_with("\xef\xbb\xbf") ? 3 : 0;
    const std::size_t first = begin.find_first_not_of(" \t\r\n", mark);
    return first != std::string::npos && begin[first] == '<';
}

std::string settingsReportText(const SettingsTree& settings, const std::string& path) {
    checkHeap(settings, path);
    std::string text = path + "\n  kind          settings, " + filterGroups(settings) + '\n';
    if (settings.find(ownGroup, heapHashKey))
        text += "  calibration   " + heapPathOf(path) + ", the one it was made with\n";
    return text;
}

ParamAssignment::ParamAssignment(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::size_t equals = text.find('=');
    if (colon == std::string::npos || equals == std::string::npos || colon > equals)
        return;
    filter = text.substr(0, colon);
    param = text.substr(colon + 1, equals - colon - 1);
    value = text.substr(equals + 1);
}

std::string ParamAssignment::fileUsed() const {
    return namesInput(param, value) ? value : std::string();
}

bool namesLogFile(std::string_view key) {
    return key.starts_with("Log");
}

bool makesAWrite(std::string_view key) {
    return namesLogFile(key) || key == dumpKey;
}

std::map<std::string, std::string> discardWrites(Settings& settings) {
    std::map<std::string, std::string> before;
    const SettingsTree tree = settings.contents();
    for (const SettingsGroup& group : tree.groups)
        for (const SettingsItem& item : group.items) {
            const auto* const file = std::get_if<std::string>(&item.value);
            const auto* const on = std::get_if<bool>(&item.value);
            if (file && !file->empty() && namesLogFile(item.key)) {
                before[item.key] = *file;
                settings.setString(group.name.c_str(), item.key.c_str(), "/dev/null");
            } else if (on && *on && item.key == dumpKey) {
                before[item.key] = "true";
                settings.setBool(group.name.c_str(), item.key.c_str(), false);
            }
        }
    return before;
}

bool isDumpName(const std::string& name) {
    return (name.starts_with("cs_v") || name.starts_with("ff_v")) && name.ends_with(".txt");
}

void checkSettingsOutput(const std::string& output) {
    std::error_code none;
    if (const auto bytes = std::filesystem::file_size(output, none); !none && bytes > 0)
        readReplaceable(output);
}

namespace {

using Size = std::pair<zt::u32, zt::u32>;

std::optional<int> intOf(const SettingsGroup& group, std::string_view key) {
    const SettingsItem* const item = group.find(key);
    const int* const value = item ? std::get_if<int>(&item->value) : nullptr;
    return value ? std::optional(*value) : std::nullopt;
}

// The size of the first thickness mask.
std::optional<Size> maskSize(const SettingsTree& settings) {
    for (const SettingsGroup& group : settings.groups) {
        const auto width = intOf(group, "Width");
        const auto height = intOf(group, "Height");
        if (width && height && *width > 0 && *height > 0)
            return Size{*width, *height};
    }
    return std::nullopt;
}

// Reads the numbers of a heap in order.
class HeapWalk {
public:
    explicit HeapWalk(const std::string& path) : file(FileDescriptor::openForReading(path)) {}

    template <typename T>
    T next() {
        T value{};
        file.readAt(at, std::as_writable_bytes(std::span(&value, 1)));
        at += sizeof value;
        return value;
    }
    // Throws Error if the file is too short.
    void skipFloats(zt::u64 count) {
        if (count > (file.size() - at) / sizeof(float))
            throw Error("the heap is truncated");
        at += count * sizeof(float);
    }
    std::vector<float> nextFloats() {
        const auto count = next<zt::u64>();
        const zt::u64 start = at;
        skipFloats(count);
        std::vector<float> values(count);
        file.readAt(start, std::as_writable_bytes(std::span(values)));
        return values;
    }
    Size skipImage() {
        const auto width = next<zt::u32>();
        const auto height = next<zt::u32>();
        skipFloats(zt::u64{width} * height);
        return {width, height};
    }

private:
    FileDescriptor file;
    zt::u64 at = 0;
};

// The size of the first flat field that is not a hole. A heap that cannot be read is reported by the filter.
std::optional<Size> flatFieldSize(const std::string& path) {
    try {
        HeapWalk heap(path);
        heap.next<zt::i32>(); // the element's size
        if (heap.next<zt::i32>() != 0)
            heap.skipImage();
        for (int axis = 0; axis < 3; ++axis)
            heap.skipFloats(heap.next<zt::u64>());
        for (;;)
            if (const Size size = heap.skipImage(); size != Size{1, 1})
                return size;
    } catch (const Error&) {
        return std::nullopt;
    }
}

} // namespace

std::array<std::vector<float>, 3> heapAxes(const std::string& heapPath) {
    HeapWalk heap(heapPath);
    heap.next<zt::i32>(); // the element's size
    if (heap.next<zt::i32>() != 0)
        heap.skipImage(); // the mask
    auto v = heap.nextFloats();
    auto t = heap.nextFloats();
    return {std::move(v), std::move(t), heap.nextFloats()};
}

std::string misfit(const SettingsTree& settings, const std::string& path, zt::u32 width, zt::u32 height) {
    const std::string frames = "; the frames have " + sizeText(width, height);
    const zt::u64 pixels = zt::u64{width} * height;
    const SettingsGroup* const flatField = settings.find("FF");
    if (const auto count = flatField ? intOf(*flatField, "CoeffsSize") : std::nullopt;
        count && *count > 0 && static_cast<zt::u64>(*count) != pixels)
        return path + ": its coefficients are for frames of " +
               countText(static_cast<zt::u64>(*count), "pixel") + frames + " = " + std::to_string(pixels);
    if (const auto size = maskSize(settings); size && zt::u64{size->first} * size->second != pixels)
        return path + ": its thickness masks have " + sizeText(size->first, size->second) + " pixels" +
               frames;
    if (!settings.find("Settings"))
        return {};
    const std::string heap = std::filesystem::path(path).replace_extension(".bin").string();
    if (const auto size = flatFieldSize(heap); size && *size != Size{width, height})
        return heap + ": its flat fields have " + sizeText(size->first, size->second) + " pixels" + frames;
    return {};
}

} // namespace ombrel
