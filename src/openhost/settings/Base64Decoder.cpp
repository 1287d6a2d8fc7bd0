#include "settings/Base64Decoder.h"

namespace ombrel {

namespace {

constexpr std::uint8_t invalid = 0x80;

constexpr std::array<std::uint8_t, 256> makeTable() {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> table{};
    table.fill(invalid);
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    return table;
}

constexpr auto table = makeTable();

std::uint8_t valueOf(char character) {
    return table[static_cast<unsigned char>(character)];
}

} // namespace

std::size_t Base64Decoder::decode(std::string_view text) {
    std::size_t done = 0;
    while (done < text.size()) {
        if (characters == 0 && !ended)
            done += decodeGroups(text.substr(done));
        if (done == text.size())
            break;
        if (!take(text[done]))
            return done;
        ++done;
    }
    return done;
}

bool Base64Decoder::finish() {
    flush();
    return characters == 0;
}

// Whole groups of four, as many as stand without anything else between them; returns their characters.
std::size_t Base64Decoder::decodeGroups(std::string_view text) {
    std::size_t done = 0;
    for (; done + 4 <= text.size(); done += 4) {
        const std::uint32_t a = valueOf(text[done]), b = valueOf(text[done + 1]), c = valueOf(text[done + 2]),
                            d = valueOf(text[done + 3]);
        if ((a | b | c | d) & invalid)
            break;
        put(a << 18 | b << 12 | c << 6 | d, 3);
    }
    return done;
}

bool Base64Decoder::take(char character) {
    if (character == ' ' || character == '\t' || character == '\r' || character == '\n')
        return true;
    if (ended)
        return false;
    const bool isPadding = character == '=';
    const std::uint8_t value = isPadding ? 0 : valueOf(character);
    if (value == invalid || (isPadding ? characters < 2 : padding > 0))
        return false;
    padding += isPadding;
    bits = bits << 6 | value;
    if (++characters == 4) {
        put(bits, 3 - padding);
        ended = padding > 0;
        characters = 0;
        bits = 0;
    }
    return true;
}

void Base64Decoder::put(std::uint32_t group, std::size_t byteCount) {
    if (used == buffer.size())
        flush();
    // A group with padding is the last one, so that the buffer stays a multiple of three bytes until then.
    buffer[used] = static_cast<std::byte>(group >> 16);
    buffer[used + 1] = static_cast<std::byte>(group >> 8);
    buffer[used + 2] = static_cast<std::byte>(group);
    used += byteCount;
}

void Base64Decoder::flush() {
    out.append(std::span(buffer).first(used));
    used = 0;
}

} // namespace ombrel
