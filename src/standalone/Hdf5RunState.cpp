#include "standalone/Hdf5RunState.h"

#include "standalone/Hdf5OutputLayout.h"
#include "standalone/Hdf5Values.h"

#include <algorithm>

namespace ombrel {

std::optional<RunState> readRunState(hid_t file, zt::u32 frames) {
    const auto done = numbersAt(file, outputlayout::framesDone, 1);
    const auto complete = numbersAt(file, outputlayout::complete, 1);
    const auto failed = numbersAt(file, outputlayout::failed, frames);
    if (!done || !complete || !failed)
        return std::nullopt;
    RunState state;
    state.framesPlanned = frames;
    state.framesDone = static_cast<zt::u32>(std::clamp<double>(done->values[0], 0, frames));
    state.framesFailed = static_cast<zt::u32>(
        std::count(failed->values.begin(), failed->values.begin() + state.framesDone, 1.0));
    state.complete = complete->values[0] == 1;
    return state;
}

} // namespace ombrel
