#pragma once

#include "frame/Frame.h"
#include "frame/FrameRow.h"
#include "frame/Quantity.h"
#include "frame/Statistics.h"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

struct RunSetup;

// What the output of a run holds.
struct QuantityOptions {
    std::string quantity = "counts";
    std::string levelRegion; // "X,Y,W,H" of the output's pixels: the open beam of each frame; empty for none

    bool isCounts() const { return quantity == quantityName(Quantity::Counts); }
};

// Throws UsageError.
Region parseLevelRegion(const std::string& text);

// The level of each corrected frame: the counts that it has in the open beam, by which it is divided for
// --quantity. It is that of the flat fields, or the mean of an open region of the frame itself.
class FrameLevels {
public:
    // Throws UsageError if the chain has no such level, and Error if the calibration does not know it.
    explicit FrameLevels(RunSetup& setup);

    // The scale of a corrected frame, which becomes one of doubles; `choice` is that of the adaptive filter
    // for it. Throws Error with the reason if it has none.
    FrameScale of(Frame& corrected, const std::optional<SelectedFlatField>& choice) const;
    // The level if it is the same for all frames.
    std::optional<double> ofAll() const { return level; }

private:
    using GridKey = std::array<double, 3>; // V, T and E with the digits of a choice

    void takeFlatField(const RunSetup& setup, std::size_t link);
    void takeGrid(RunSetup& setup, std::size_t link);
    double levelOf(Frame& corrected, const std::optional<SelectedFlatField>& choice) const;

    Quantity quantity;
    std::optional<Region> region;
    std::optional<double> level;
    std::map<GridKey, double> divisors; // of the grid points
    double binned = 1;                  // pixels that are summed after the correction
};

// The levels for the quantity of a run; nothing for counts. Throws like FrameLevels().
std::optional<FrameLevels> levelsOf(RunSetup& setup);

// The level of the open beam in an output of counts, if it is known and the same for all frames.
std::optional<double> knownLevel(RunSetup& setup);

// The message that frames and flat fields were exposed for different times; empty if that is not known, or
// does not matter.
std::string flatTimeNote(RunSetup& setup);

} // namespace ombrel
