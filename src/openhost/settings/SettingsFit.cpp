#include "settings/SettingsFit.h"

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/SizeText.h"

#include <filesystem>
#include <optional>
#include <utility>

namespace ombrel {

namespace {

using Size = std::pair<zt::u32, zt::u32>;

std::optional<int> intOf(const SettingsGroup& group, std::string_view key) {
    const SettingsItem* const item = group.find(key);
    const int* const value = item ? std::get_if<int>(&item->value) : nullptr;
    return value ? std::optional(*value) : std::nullopt;
}

// Of the first thickness mask.
std::optional<Size> maskSize(const SettingsTree& settings) {
    for (const SettingsGroup& group : settings.groups) {
        const auto width = intOf(group, "Width");
        const auto height = intOf(group, "Height");
        if (width && height && *width > 0 && *height > 0)
            return Size{*width, *height};
    }
    return std::nullopt;
}

// Reads the numbers of a heap one after the other.
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
    // Throws Error when the file does not reach so far.
    void skipFloats(zt::u64 count) {
        if (count > (file.size() - at) / sizeof(float))
            throw Error("the heap is truncated");
        at += count * sizeof(float);
    }

private:
    FileDescriptor file;
    zt::u64 at = 0;
};

// Of the first flat field that is not a hole. A heap that cannot be read is the filter's to refuse.
std::optional<Size> flatFieldSize(const std::string& path) {
    try {
        HeapWalk heap(path);
        heap.next<zt::i32>(); // the element's size
        const auto skipImage = [&] {
            const auto width = heap.next<zt::u32>();
            const auto height = heap.next<zt::u32>();
            heap.skipFloats(zt::u64{width} * height);
            return Size{width, height};
        };
        if (heap.next<zt::i32>() != 0)
            skipImage();
        for (int axis = 0; axis < 3; ++axis)
            heap.skipFloats(heap.next<zt::u64>());
        for (;;)
            if (const Size size = skipImage(); size != Size{1, 1})
                return size;
    } catch (const Error&) {
        return std::nullopt;
    }
}

} // namespace

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
