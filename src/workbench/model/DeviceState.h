#pragma once

#include <optional>
#include <string>

namespace ombrel::workbench {

// What the user tells of the detector behind the frames.
struct DeviceState {
    std::string mask;              // the file of its pixel mask; empty: no pixel is masked
    std::optional<double> acqTime; // seconds, of every frame; else what the files tell

    bool operator==(const DeviceState&) const = default;
};

} // namespace ombrel::workbench
