#pragma once

#include "base/FileContent.h"
#include "frame/Statistics.h"
#include "zt/Types.h"

#include <array>
#include <cstddef>
#include <span>

namespace ombrel {

// A frame is added in blocks, so that everything that is computed from its pixels is computed while they are
// in the cache. The results do not depend on the size of the blocks, but every block except the last must
// have a multiple of 8 pixels.

// A good size: as floats, the block fits the first-level cache.
inline constexpr std::size_t blockPixels = 4096;

// The figures of a frame, added in blocks.
class PixelFigures {
public:
    explicit PixelFigures(zt::u8 pixelType) : type(pixelType) {}

    void add(std::span<const std::byte> block);
    FrameStatistics result() const;
    // Pixels so far that are NaN or infinite.
    zt::u64 notFinite() const;

private:
    // Four sums each, of every eighth pixel: even of pixels 0 to 3, odd of pixels 4 to 7 of each eight.
    struct alignas(32) LaneTotals {
        std::array<double, 4> distance{};
        std::array<double, 4> squares{};
        std::array<long, 4> notFinite{};
        std::array<long, 4> zeros{};
    };
    struct Totals {
        LaneTotals even;
        LaneTotals odd;
    };

    zt::u8 type;
    zt::u64 count = 0;
    bool hasOrigin = false;
    double origin = 0; // the first finite pixel, 0 before it
    Totals stored;
};

// Figures and hash of a frame, added in blocks.
class PixelDigest {
public:
    explicit PixelDigest(zt::u8 pixelType) : type(pixelType), figuresSoFar(pixelType) {}

    void add(std::span<const std::byte> block);
    // Also replaces every NaN by one with fixed bits: of two NaNs an operation returns that of its first
    // operand, so the bits of a NaN depend on the generated code. A file must not. The pixels must be floats
    // or doubles.
    void addWithOneNan(std::span<std::byte> block);

    FrameStatistics figures() const { return figuresSoFar.result(); }
    zt::u64 hash() const { return hasher.result(); }

private:
    zt::u8 type;
    PixelFigures figuresSoFar;
    PixelHasher hasher;
};

} // namespace ombrel
