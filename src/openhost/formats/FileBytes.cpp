#include "formats/FileBytes.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"

#include <algorithm>
#include <new>
#include <vector>
#include <zlib.h>

namespace ombrel {

// Unpacks a file from its start. To go back, it starts again.
class FileBytes::Unpacker {
public:
    explicit Unpacker(const FileDescriptor& packedFile) : file(packedFile), packedSize(file.size()) {
        constexpr int gzipOnly = 16 + MAX_WBITS;
        if (inflateInit2(&stream, gzipOnly) != Z_OK)
            throw std::bad_alloc();
    }
    ~Unpacker() { inflateEnd(&stream); }
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;

    zt::u64 position() const { return unpacked; }

    void restart() {
        inflateReset(&stream);
        stream.avail_in = 0;
        packed = unpacked = 0;
        atEnd = false;
    }

    // Fills the span, or returns how many bytes were left.
    std::size_t next(std::span<std::byte> bytes) {
        std::size_t filled = 0;
        while (filled < bytes.size() && !atEnd) {
            const auto wanted = std::min<std::size_t>(bytes.size() - filled, std::size_t{1} << 30);
            stream.next_out = reinterpret_cast<Bytef*>(bytes.data() + filled);
            stream.avail_out = static_cast<uInt>(wanted);
            step();
            filled += wanted - stream.avail_out;
        }
        unpacked += filled;
        return filled;
    }

    // False if the file ends before.
    bool skipTo(zt::u64 offset) {
        std::vector<std::byte> skipped(std::size_t{1} << 16);
        while (unpacked < offset)
            if (next(std::span(skipped).first(std::min<zt::u64>(skipped.size(), offset - unpacked))) == 0)
                return false;
        return true;
    }

private:
    void step() {
        if (stream.avail_in == 0)
            refill();
        const int code = inflate(&stream, Z_NO_FLUSH);
        if (code == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR)
            throw Error(std::string("the gzip file is damaged: ") +
                        (stream.msg ? stream.msg : "it cannot be unpacked"));
        if (code == Z_STREAM_END)
            startNextMember();
    }

    void refill() {
        if (packed == packedSize)
            throw Error("the gzip file is truncated");
        const auto piece = std::span(buffer).first(std::min<zt::u64>(buffer.size(), packedSize - packed));
        file.readAt(packed, piece);
        packed += piece.size();
        stream.next_in = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_in = static_cast<uInt>(piece.size());
    }

    // Several compressed files one after the other unpack to all their bytes.
    void startNextMember() {
        if (stream.avail_in == 0 && packed == packedSize) {
            atEnd = true;
            return;
        }
        inflateReset(&stream);
    }

    const FileDescriptor& file;
    zt::u64 packedSize;
    z_stream stream{};
    std::vector<std::byte> buffer = std::vector<std::byte>(std::size_t{1} << 16);
    zt::u64 packed = 0;   // bytes of the file that were read
    zt::u64 unpacked = 0; // bytes that were returned
    bool atEnd = false;
};

FileBytes::FileBytes(const std::string& path) : file{FileDescriptor::openForReading(path)} {
    if (isGzip(file))
        unpacker = std::make_unique<Unpacker>(file);
}

FileBytes::~FileBytes() = default;

zt::u64 FileBytes::mostBytes() const {
    constexpr zt::u64 mostUnpackedPerByte = 1032; // of the method
    return file.size() * (unpacker ? mostUnpackedPerByte : 1);
}

std::size_t FileBytes::readSome(zt::u64 offset, std::span<std::byte> bytes) {
    if (unpacker)
        return unpackAt(offset, bytes);
    const zt::u64 size = file.size();
    const auto held = std::min<zt::u64>(bytes.size(), offset < size ? size - offset : 0);
    file.readAt(offset, bytes.first(held));
    return held;
}

// After a failure the unpacker is further on than it has counted, so the next read starts again.
std::size_t FileBytes::unpackAt(zt::u64 offset, std::span<std::byte> bytes) {
    try {
        return tryUnpackAt(offset, bytes);
    } catch (...) {
        unpacker->restart();
        recent.clear();
        throw;
    }
}

std::size_t FileBytes::tryUnpackAt(zt::u64 offset, std::span<std::byte> bytes) {
    const zt::u64 back = unpacker->position() - std::min(offset, unpacker->position());
    if (back > recent.size()) {
        unpacker->restart();
        recent.clear();
        return tryUnpackAt(offset, bytes);
    }
    const auto held = std::min<std::size_t>(back, bytes.size());
    std::copy_n(recent.end() - static_cast<std::ptrdiff_t>(back), held, bytes.begin());
    if (unpacker->position() < offset) {
        recent.clear();
        if (!unpacker->skipTo(offset))
            return 0;
    }
    const auto unpacked = bytes.subspan(held).first(unpacker->next(bytes.subspan(held)));
    remember(unpacked);
    return held + unpacked.size();
}

// A reader that looks for the end of a header takes a few bytes too many. With these at hand it need not
// unpack the file again.
void FileBytes::remember(std::span<const std::byte> bytes) {
    const auto kept = bytes.last(std::min(recentBytes, bytes.size()));
    recent.insert(recent.end(), kept.begin(), kept.end());
    if (recent.size() > recentBytes)
        recent.erase(recent.begin(), recent.end() - recentBytes);
}

void FileBytes::checkHolds(zt::u64 end) {
    std::byte last{};
    if (readSome(end - 1, std::span(&last, 1)) == 0)
        throw Error("the file is truncated: pixels are missing; copy it again");
}

void FileBytes::read(zt::u64 offset, std::span<std::byte> bytes) {
    const std::size_t held = readSome(offset, bytes);
    if (held != bytes.size())
        throw Error("truncated (" + std::to_string(held) + " of " + countText(bytes.size(), "byte") + ")");
}

} // namespace ombrel
