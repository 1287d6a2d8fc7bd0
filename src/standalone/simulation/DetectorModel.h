#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ombrel::simulation {

// A pixel detector with the faults that a flat-field correction is there for. All maps are row-major.
//
// A pixel's response is the product of what differs from pixel to pixel (3 % of gain), of slow waves over the
// sensor (its doping varies as it was grown), and of the wider pixels along the edges of its chips.
class DetectorModel {
public:
    DetectorModel(std::size_t width, std::size_t height, std::uint64_t seed);

    std::size_t width() const { return columns; }
    std::size_t height() const { return rows; }
    std::size_t pixelCount() const { return columns * rows; }

    // Counts per arriving photon, around 1; 0 for a dead pixel.
    const std::vector<double>& response() const { return responseMap; }
    const std::vector<std::size_t>& deadPixels() const { return dead; }
    // Pixels that count on their own, whatever arrives.
    const std::vector<std::size_t>& hotPixels() const { return hot; }
    // Counts of a hot pixel, for a beam of `flux` photons a pixel.
    static double hotCounts(double flux) { return 4 * flux; }

private:
    void makeResponse(std::uint64_t seed);
    void spoilPixels(std::uint64_t seed);

    std::size_t columns;
    std::size_t rows;
    std::vector<double> responseMap;
    std::vector<std::size_t> dead;
    std::vector<std::size_t> hot;
};

} // namespace ombrel::simulation
