#pragma once

#include "base/FileDescriptor.h"
#include "zt/Types.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct XXH3_state_s;

namespace ombrel {

enum class FileKind { Tiff, Hdf5, Edf, Cbf, Empty, Directory, Special, Other };

// Detects the kind of a file by its content; EDF and CBF files may be compressed with gzip. Throws Error when
// it can't be read.
FileKind fileKind(const FileDescriptor& file);

// Whether the file is compressed with gzip. Throws Error when it can't be read.
bool isGzip(const FileDescriptor& file);

// Throws Error for an empty file, a folder, a pipe or a device.
void checkRegular(const FileDescriptor& file, const std::string& path);

// True when the content is text whose first word is a number.
bool beginsWithNumber(const FileDescriptor& file);

// Whether the path has a name that ends in the suffix, in small or capital letters.
bool hasSuffix(std::string_view path, std::string_view suffix);

struct DatasetPath {
    std::string file;
    std::string dataset; // begins with "/"; empty if the path has no dataset
};

// Splits "FILE::/path/of/dataset". If a file with that whole name exists, the name is not split.
DatasetPath splitDatasetPath(const std::string& path);

// Hashes show whether pixels or files are the same as before; they do not protect against forgery. XXH3 of
// xxHash: 64 bit for pixels, 128 bit for files.

zt::u64 pixelHash(std::span<const std::byte> pixels);

// The same hash, of pixels that are added in pieces of any size.
class PixelHasher {
public:
    // Throws std::bad_alloc.
    PixelHasher();

    void add(std::span<const std::byte> pixels);
    zt::u64 result() const;

private:
    std::unique_ptr<XXH3_state_s, void (*)(XXH3_state_s*)> state;
};

// The hash of a file's bytes as 32 hexadecimal digits. Throws Error.
std::string fileHash(const std::string& path);

// A hash of bytes that arrive in pieces, which is the same for every division into pieces.
class StreamHash {
public:
    // Throws std::bad_alloc.
    StreamHash();

    void add(std::span<const std::byte> bytes);
    // 32 hexadecimal digits.
    std::string text() const;

private:
    std::unique_ptr<XXH3_state_s, void (*)(XXH3_state_s*)> state;
};

// A hash of 64 bit as 16 hexadecimal digits.
std::string hashText(zt::u64 hash);

} // namespace ombrel
