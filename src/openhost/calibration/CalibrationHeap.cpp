#include "calibration/CalibrationHeap.h"

#include "base/Error.h"
#include "base/SizeText.h"

#include <bit>
#include <filesystem>
#include <limits>
#include <stdexcept>

namespace ombrel {

namespace {

static_assert(std::endian::native == std::endian::little, "the files are written as memory holds them");

// Small fields, gathered to be written at once.
class FieldBuffer {
public:
    template <typename T>
    FieldBuffer& add(T value) {
        const auto raw = std::as_bytes(std::span(&value, 1));
        gathered.insert(gathered.end(), raw.begin(), raw.end());
        return *this;
    }
    FieldBuffer& addCounted(std::span<const float> values) {
        add(zt::u64{values.size()});
        for (const float value : values)
            add(value);
        return *this;
    }
    std::span<const std::byte> bytes() const { return gathered; }

private:
    std::vector<std::byte> gathered;
};

void writeBlock(AtomicFile& file, zt::u32 width, zt::u32 height, std::span<const float> pixels) {
    file.write(FieldBuffer().add(static_cast<zt::i32>(width)).add(static_cast<zt::i32>(height)).bytes());
    file.write(std::as_bytes(pixels));
}

// Readers count pixels in 32 bits.
bool isImageSize(zt::u32 width, zt::u32 height) {
    const zt::u64 count = zt::u64{width} * height;
    return 0 < count && count <= static_cast<zt::u64>(std::numeric_limits<zt::i32>::max());
}

// Walks through a heap file from part to part, without a look at the pixels.
class HeapWalk {
public:
    explicit HeapWalk(const std::string& path)
        : file(FileDescriptor::openForReading(path)), size(file.size()) {}

    bool isHeap() {
        return skip(sizeof(zt::i32)) && skipMask() && skipAxis() && skipAxis() && skipAxis() && skipBlocks();
    }

private:
    bool skip(zt::u64 bytes) {
        const bool fits = bytes <= size - at;
        at += fits ? bytes : 0;
        return fits;
    }
    template <typename T>
    bool read(T& value) {
        const zt::u64 start = at;
        if (!skip(sizeof value))
            return false;
        file.readAt(start, std::as_writable_bytes(std::span(&value, 1)));
        return true;
    }
    bool skipMask() {
        zt::i32 masked = 0;
        return read(masked) && (masked == 0 || masked == 1) && (masked == 0 || skipBlock());
    }
    bool skipAxis() {
        zt::u64 count = 0;
        if (!read(count) || count == 0 || count > (size - at) / sizeof(float) || points > size / count)
            return false;
        points *= count;
        return skip(count * sizeof(float));
    }
    bool skipBlock() {
        zt::i32 width = 0, height = 0;
        return read(width) && read(height) && width > 0 && height > 0 &&
               skip(zt::u64(width) * zt::u64(height) * sizeof(float));
    }
    bool skipBlocks() {
        for (; points > 0; --points)
            if (!skipBlock())
                return false;
        return at == size;
    }

    FileDescriptor file;
    zt::u64 size;
    zt::u64 at = 0;
    zt::u64 points = 1; // of the grid
};

} // namespace

bool CalibrationHeap::mayReplace(const std::string& path) {
    std::error_code none;
    const auto bytes = std::filesystem::file_size(path, none);
    return none || bytes == 0 || HeapWalk(path).isHeap();
}

CalibrationHeap::CalibrationHeap(const std::string& path, const CalibrationGrid& grid,
                                 const HeapSettings& settings)
    : file(path), width(settings.width), height(settings.height) {
    if (width < 2 || !isImageSize(width, height))
        throw Error(path + ": calibration images cannot be " + sizeText(width, height) +
                    "; they need at least two columns");
    for (const auto& point : grid.points())
        isHole.push_back(!point.has_value());
    const bool masked = !settings.compensationMask.empty();
    file.write(FieldBuffer().add(settings.elementSize).add(zt::i32{masked}).bytes());
    if (masked) {
        checkPixels(settings.compensationMask.size(), "the compensation mask");
        writeBlock(file, width, height, settings.compensationMask);
    }
    file.write(FieldBuffer().addCounted(grid.v()).addCounted(grid.t()).addCounted(grid.e()).bytes());
}

void CalibrationHeap::append(std::span<const float> pixels) {
    writeHoles();
    if (next == isHole.size())
        throw std::logic_error("CalibrationHeap: more images than grid points");
    checkPixels(pixels.size(), "a calibration image");
    writeBlock(file, width, height, pixels);
    ++next;
}

void CalibrationHeap::sync() {
    writeHoles();
    if (next != isHole.size())
        throw std::logic_error("CalibrationHeap: fewer images than grid points");
    file.sync();
}

void CalibrationHeap::commit() {
    sync();
    file.commit();
}

void CalibrationHeap::writeHoles() {
    static constexpr float pixel[1] = {0};
    for (; next < isHole.size() && isHole[next]; ++next)
        writeBlock(file, 1, 1, pixel);
}

void CalibrationHeap::checkPixels(std::size_t count, const std::string& what) const {
    if (count != zt::u64{width} * height)
        throw Error(file.path() + ": " + what + " has " + std::to_string(count) + " pixels, not " +
                    sizeText(width, height));
}

} // namespace ombrel
