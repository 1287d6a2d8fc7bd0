#include "base/FileContent.h"

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <vector>
#include <xxh_x86dispatch.h>
#include <zlib.h>

namespace ombrel {

namespace {

constexpr std::string_view hdf5Signature("\x89HDF\r\n\x1a\n", 8);
// Byte order, then 42, or 43 for BigTIFF.
constexpr std::array<std::string_view, 4> tiffSignatures{
    std::string_view("II\x2a\0", 4), std::string_view("MM\0\x2a", 4), std::string_view("II\x2b\0", 4),
    std::string_view("MM\0\x2b", 4)};

bool standsAt(const FileDescriptor& file, zt::u64 fileSize, zt::u64 offset, std::string_view signature) {
    std::array<std::byte, 8> bytes{};
    if (offset + signature.size() > fileSize)
        return false;
    file.readAt(offset, std::span(bytes).first(signature.size()));
    return std::memcmp(bytes.data(), signature.data(), signature.size()) == 0;
}

// A user block may precede the HDF5 part, of 512 bytes or that size times a power of two.
bool isHdf5(const FileDescriptor& file, zt::u64 fileSize) {
    for (zt::u64 offset = 0; offset < fileSize; offset = std::max<zt::u64>(512, 2 * offset))
        if (standsAt(file, fileSize, offset, hdf5Signature))
            return true;
    return false;
}

constexpr std::size_t headBytes = 512; // of a file, which show its kind

// The first bytes of the file, or what they unpack to.
std::string headOf(const FileDescriptor& file, zt::u64 fileSize) {
    std::string head(std::min<zt::u64>(fileSize, headBytes), '\0');
    file.readAt(0, std::as_writable_bytes(std::span(head)));
    if (!isGzip(file))
        return head;
    std::string unpacked(headBytes, '\0');
    z_stream stream{};
    constexpr int gzipOnly = 16 + MAX_WBITS;
    if (inflateInit2(&stream, gzipOnly) != Z_OK)
        throw std::bad_alloc();
    stream.next_in = reinterpret_cast<Bytef*>(head.data());
    stream.avail_in = static_cast<uInt>(head.size());
    stream.next_out = reinterpret_cast<Bytef*>(unpacked.data());
    stream.avail_out = static_cast<uInt>(unpacked.size());
    inflate(&stream, Z_SYNC_FLUSH); // a damaged file unpacks to fewer bytes
    unpacked.resize(unpacked.size() - stream.avail_out);
    inflateEnd(&stream);
    return unpacked;
}

// "{" and the name of a key that is followed by "=". JSON has quotes there.
bool isEdf(std::string_view head) {
    constexpr std::string_view edfBlanks = " \t\r\n";
    if (!head.starts_with('{'))
        return false;
    head.remove_prefix(std::min(head.find_first_not_of(edfBlanks, 1), head.size()));
    const auto isOfName = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
    const auto end = std::ranges::find_if_not(head, isOfName);
    const std::string_view rest(end, head.end());
    const std::size_t next = rest.find_first_not_of(edfBlanks);
    return end != head.begin() && next != std::string_view::npos && rest[next] == '=';
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

} // namespace

FileKind fileKind(const FileDescriptor& file) {
    struct stat status {};
    if (::fstat(file.get(), &status) == 0 && !S_ISREG(status.st_mode))
        return S_ISDIR(status.st_mode) ? FileKind::Directory : FileKind::Special;
    const zt::u64 size = file.size();
    if (size == 0)
        return FileKind::Empty;
    const auto begins = [&](std::string_view signature) { return standsAt(file, size, 0, signature); };
    if (std::ranges::any_of(tiffSignatures, begins))
        return FileKind::Tiff;
    const std::string head = headOf(file, size);
    if (head.starts_with("###CBF:"))
        return FileKind::Cbf;
    if (isEdf(head))
        return FileKind::Edf;
    return isHdf5(file, size) ? FileKind::Hdf5 : FileKind::Other;
}

bool isGzip(const FileDescriptor& file) {
    return standsAt(file, file.size(), 0, "\x1f\x8b\x08");
}

void checkRegular(const FileDescriptor& file, const std::string& path) {
    switch (fileKind(file)) {
    case FileKind::Empty:
        throw Error(path + ": the file is empty");
    case FileKind::Directory:
        throw Error(path + ": is a directory; give a file");
    case FileKind::Special:
        throw Error(path + ": is not a regular file; save its data to a file first");
    default:
        break;
    }
}

bool beginsWithNumber(const FileDescriptor& file) {
    constexpr std::string_view whitespace = " \t\r\n\v\f";
    std::string text(std::min<zt::u64>(file.size(), 4096), '\0');
    file.readAt(0, std::as_writable_bytes(std::span(text)));
    const auto isText = [&](char c) {
        return c >= ' ' || c < 0 || whitespace.find(c) != std::string_view::npos;
    };
    if (!std::ranges::all_of(text, isText))
        return false;
    text.erase(0, text.find_first_not_of(whitespace));
    text.resize(std::min(text.find_first_of(" \t\r\n\v\f,;"), text.size()));
    return readNumber<double>(text.starts_with('+') ? text.substr(1) : text).has_value();
}

bool hasSuffix(std::string_view path, std::string_view suffix) {
    const auto sameLetter = [](char one, char other) { return (one | 0x20) == (other | 0x20); };
    return path.size() > suffix.size() &&
           std::equal(suffix.rbegin(), suffix.rend(), path.rbegin(), sameLetter);
}

DatasetPath splitDatasetPath(const std::string& path) {
    const auto separator = path.rfind("::");
    if (separator == std::string::npos || separator == 0 || exists(path))
        return {path, ""};
    std::string dataset = path.substr(separator + 2);
    if (!dataset.starts_with('/'))
        dataset.insert(0, 1, '/');
    return {path.substr(0, separator), dataset};
}

namespace {

using HashState = std::unique_ptr<XXH3_state_t, void (*)(XXH3_state_t*)>;

HashState newHashState() {
    HashState state(XXH3_createState(), [](XXH3_state_t* freed) { XXH3_freeState(freed); });
    if (!state)
        throw std::bad_alloc();
    return state;
}

} // namespace

zt::u64 pixelHash(std::span<const std::byte> pixels) {
    return XXH3_64bits(pixels.data(), pixels.size());
}

StreamHash::StreamHash() : state(newHashState()) {
    XXH3_128bits_reset(state.get());
}

void StreamHash::add(std::span<const std::byte> bytes) {
    XXH3_128bits_update(state.get(), bytes.data(), bytes.size());
}

std::string StreamHash::text() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(state.get());
    return hashText(hash.high64) + hashText(hash.low64);
}

PixelHasher::PixelHasher() : state(newHashState()) {
    XXH3_64bits_reset(state.get());
}

void PixelHasher::add(std::span<const std::byte> pixels) {
    XXH3_64bits_update(state.get(), pixels.data(), pixels.size());
}

zt::u64 PixelHasher::result() const {
    return XXH3_64bits_digest(state.get());
}

std::string fileHash(const std::string& path) {
    const FileDescriptor file = FileDescriptor::openForReading(path);
    StreamHash hash;
    std::vector<std::byte> buffer(std::size_t{1} << 20);
    const zt::u64 size = file.size();
    for (zt::u64 offset = 0; offset < size; offset += buffer.size()) {
        const auto piece = std::span(buffer).first(std::min<zt::u64>(buffer.size(), size - offset));
        file.readAt(offset, piece);
        hash.add(piece);
    }
    return hash.text();
}

std::string hashText(zt::u64 hash) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

} // namespace ombrel
