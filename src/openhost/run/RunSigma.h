#pragma once

#include "base/Console.h"
#include "frame/RunRecord.h"
#include "host/Host.h"
#include "run/RunSetup.h"
#include "uncertainty/SigmaModel.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// The options themselves. Throws UsageError if the standard deviations that they ask for cannot be made.
const RunOptions& checkedSigma(const RunOptions& options);

void recordSigma(RunRecord& record, const SigmaOptions& options);
SigmaOptions sigmaOf(const RunRecord& record);

// The planes of an output with these standard deviations.
std::vector<std::string> planesOf(const SigmaOptions& options);

// A link of a chain whose filter is loaded.
struct LoadedLink {
    FilterLink* link;
    std::string settings; // the path that the filter has
    std::string contents; // the file that was read
};

// What the errors of a chain depend on besides its links.
struct SigmaSources {
    Host& host;
    Device& device;
    const FrameStack& stack;
    const std::optional<PixelMask>& mask;
    std::optional<double> gain; // if it is given
    bool keepNan = false;
    const DarkField* dark = nullptr; // that is subtracted; null for none
};

// Throws UsageError or Error if errors cannot be followed through the chain.
std::unique_ptr<SigmaModel> makeSigmaModel(const SigmaSources& sources, std::span<const LoadedLink> links);

// Null unless they are wanted. The filters of the setup must be loaded. Throws UsageError or Error.
std::unique_ptr<SigmaModel> sigmaModelOf(RunSetup& setup, Console& console);

} // namespace ombrel
