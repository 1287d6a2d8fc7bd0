#pragma once

#include "settings/Blob.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ombrel {

// Decodes base64 text that comes in pieces. Blanks and line ends are passed over; padding must be there.
class Base64Decoder {
public:
    explicit Base64Decoder(Blob& decoded) : out(decoded) {}

    // The index of the first character that may not stand where it stands; text.size() when all are right.
    std::size_t decode(std::string_view text);
    // Hands over what is still held back. False when the text ended in the middle of a group of four.
    bool finish();

private:
    std::size_t decodeGroups(std::string_view text);
    bool take(char character);
    void put(std::uint32_t group, std::size_t byteCount);
    void flush();

    Blob& out;
    std::array<std::byte, 3 * 4096> buffer;
    std::size_t used = 0;
    std::uint32_t bits = 0;     // of the group that is open
    std::size_t characters = 0; // in the group that is open, padding included
    std::size_t padding = 0;
    bool ended = false; // padding was there: nothing may follow
};

} // namespace ombrel
