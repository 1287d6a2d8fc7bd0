#pragma once

#include "base/FileDescriptor.h"
#include "zt/Types.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The bytes of a file, or those that a file compressed with gzip unpacks to. Offsets and sizes are those of
// the unpacked bytes. Of a compressed file only a window of constant size is held in memory; it is fast only
// where the file is read from the start to the end.
//
// Throws Error; the text is only the reason.
class FileBytes {
public:
    // So many of the bytes that were read last can be read again at no cost.
    static constexpr std::size_t recentBytes = 1024;

    explicit FileBytes(const std::string& path);
    ~FileBytes();

    // The file itself if it is not compressed; else null.
    const FileDescriptor* plain() const { return unpacker ? nullptr : &file; }
    // The file unpacks to no more bytes than this.
    zt::u64 mostBytes() const;

    // Fills the span, or returns how many bytes there are up to the end of the file.
    std::size_t readSome(zt::u64 offset, std::span<std::byte> bytes);
    // Throws if the file ends before this offset.
    void checkHolds(zt::u64 end);
    // Fills the whole span; throws if the file ends early.
    void read(zt::u64 offset, std::span<std::byte> bytes);

private:
    class Unpacker;

    std::size_t unpackAt(zt::u64 offset, std::span<std::byte> bytes);
    std::size_t tryUnpackAt(zt::u64 offset, std::span<std::byte> bytes);
    void remember(std::span<const std::byte> bytes);

    FileDescriptor file;
    std::unique_ptr<Unpacker> unpacker; // null for a file that is not compressed
    std::vector<std::byte> recent;      // bytes just before the unpacker's position
};

} // namespace ombrel
