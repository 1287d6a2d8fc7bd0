#pragma once

#include "zt/DataType.h"

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace ombrel {

// The ten pixel types are the codes 0 to 9 of zt::DataType.
constexpr bool isPixelType(zt::u8 code) {
    return code <= zt::DT_DOUBLE;
}

// Calls `work` with a value of the C++ type of a pixel type, so that `decltype` names it:
//     withPixelType(code, [&](auto pixel) { using T = decltype(pixel); ... });
template <typename Work>
decltype(auto) withPixelType(zt::u8 code, Work&& work) {
    switch (code) {
    case zt::DT_I8:
        return work(zt::i8{});
    case zt::DT_U8:
        return work(zt::u8{});
    case zt::DT_I16:
        return work(zt::i16{});
    case zt::DT_U16:
        return work(zt::u16{});
    case zt::DT_I32:
        return work(zt::i32{});
    case zt::DT_U32:
        return work(zt::u32{});
    case zt::DT_I64:
        return work(zt::i64{});
    case zt::DT_U64:
        return work(zt::u64{});
    case zt::DT_FLOAT:
        return work(float{});
    case zt::DT_DOUBLE:
        return work(double{});
    default:
        throw std::invalid_argument("not a pixel type");
    }
}

// Bytes of one pixel.
inline std::size_t pixelSize(zt::u8 code) {
    return withPixelType(code, [](auto pixel) { return sizeof(pixel); });
}

// "u16", "f32" and the like, as users read and write them.
constexpr std::string_view pixelTypeName(zt::u8 code) {
    constexpr std::string_view names[] = {"i8", "u8", "i16", "u16", "i32", "u32", "i64", "u64", "f32", "f64"};
    return isPixelType(code) ? names[code] : "unknown";
}

} // namespace ombrel
