#include "model/BatchOptions.h"

#include "base/Error.h"

#include <algorithm>
#include <filesystem>

namespace ombrel::workbench {

namespace {

void checkEdits(const ChainState& chain, const LinkState& edited) {
    const auto same = std::ranges::count_if(
        chain.links, [&](const LinkState& link) { return link.enabled && link.filter == edited.filter; });
    if (same > 1)
        throw Error(edited.filter + " is in the chain " + std::to_string(same) +
                    " times: save the changed settings of each first");
}

} // namespace

MaskOptions maskOptions(const DeviceState& device) {
    MaskOptions options;
    if (!device.mask.empty())
        options.source = device.mask;
    return options;
}

RunOptions batchOptions(const std::vector<std::string>& inputs, const ChainState& chain,
                        const DeviceState& device) {
    RunOptions options;
    options.inputs = inputs;
    options.mask = maskOptions(device);
    options.acqTime = device.acqTime;
    for (const LinkState& link : chain.links) {
        if (!link.enabled)
            continue;
        // If the settings were never saved, the run uses the filter's defaults.
        const bool hasFile = !link.settings.empty() && std::filesystem::exists(link.settings);
        const std::string settings = hasFile ? link.settings : std::string();
        options.links.push_back({link.filter, settings, settings});
        if (!link.params.empty())
            checkEdits(chain, link);
        for (const auto& [name, value] : link.params)
            options.params.push_back(link.filter + ":" + name + "=" + value);
    }
    if (options.links.empty())
        throw Error("no filter of the chain is switched on: nothing to run");
    return options;
}

} // namespace ombrel::workbench
