#pragma once

#include <cstddef>
#include <istream>
#include <span>

// Reads one value in the machine's byte order. At the end of the file the value is unchanged.
template <typename T>
bool readValue(std::istream& file, T& value) {
    T read;
    if (!file.read(reinterpret_cast<char*>(&read), sizeof read))
        return false;
    value = read;
    return true;
}

// Reads as many values as the file has and returns the number of bytes read.
template <typename T>
std::size_t readValues(std::istream& file, std::span<T> values) {
    file.read(reinterpret_cast<char*>(values.data()), static_cast<std::streamsize>(values.size_bytes()));
    return static_cast<std::size_t>(file.gcount());
}
