#include "standalone/Hdf5RunState.h"

#include "standalone/Hdf5OutputLayout.h"
#include "standalone/Hdf5Values.h"

#include <algorithm>

namespace ombrel {

std::optional<RunState> readRunState(hid_t file) {
    const auto done = numbersAt(file, outputlayout::framesDone);
    const auto complete = numbersAt(file, outputlayout::complete);
    const auto failed = numbersAt(file, outputlayout::failed);
    if (!done || !complete || !failed)
        return std::nullopt;
    RunState state;
    state.framesPlanned = static_cast<zt::u32>(failed->values.size());
    state.framesDone = static_cast<zt::u32>(std::min<double>(done->values[0], state.framesPlanned));
    state.framesFailed = static_cast<zt::u32>(
        std::count(failed->values.begin(), failed->values.begin() + state.framesDone, 1.0));
    state.complete = complete->values[0] == 1;
    return state;
}

} // namespace ombrel
