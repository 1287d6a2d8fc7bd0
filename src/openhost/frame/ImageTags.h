#pragma once

#include "zt/Types.h"

#include <QJsonObject>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A quotient, as TIFF stores it.
struct Ratio {
    zt::u32 numerator = 0;
    zt::u32 denominator = 0;

    bool operator==(const Ratio&) const = default;
};

// Pixels per unit of length.
struct Resolution {
    Ratio x;
    Ratio y;
    zt::u16 unit = 1; // 1 none, 2 inch, 3 centimetre
    // The size of the images that it describes. Images of half that size, as binning makes them, have half
    // the resolution.
    zt::u32 width = 0;
    zt::u32 height = 0;

    bool operator==(const Resolution&) const = default;
};

enum class ImageText : zt::u8 { Description, Software, Date, PageName };
inline constexpr std::size_t imageTexts = 4;
// Their names in records and in HDF5 files.
inline constexpr const char* imageTextNames[imageTexts] = {"description", "software", "date", "page_name"};

// What the pages of TIFF files hold on their images besides the pixels.
struct ImageTags {
    std::optional<Resolution> resolution; // the same for all frames
    // Of each frame, or a single one for all; empty without any.
    std::array<std::vector<std::string>, imageTexts> texts;

    bool operator==(const ImageTags&) const = default;

    bool isEmpty() const { return *this == ImageTags(); }
    const std::string& text(ImageText kind, zt::u64 frame) const;

    QJsonObject toJson() const;
    static ImageTags fromJson(const QJsonObject& json);
};

} // namespace ombrel
