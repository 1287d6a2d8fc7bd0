#pragma once

#include "frame/FrameRow.h"
#include "uncertainty/PixelErrors.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace ombrel {

struct FrameCounts;
struct SigmaLink;

// What a filter does to the errors of a frame.
class LinkErrors {
public:
    virtual ~LinkErrors() = default;
    virtual void apply(PixelErrors& errors, const FrameCounts& frame, const CountNoise& noise,
                       const std::optional<SelectedFlatField>& choice) const = 0;
};

// Reads the settings of a chain that checkSigmaChain() accepts. An unset gain becomes the one that a
// calibration measured, if any did. Throws UsageError or Error.
std::vector<std::unique_ptr<LinkErrors>> errorsOfChain(std::span<const SigmaLink> links,
                                                       std::optional<double>& gain);

} // namespace ombrel
