#include "hdf5/Hdf5RunState.h"

#include "base/Error.h"
#include "hdf5/Hdf5FrameTable.h"
#include "hdf5/Hdf5Open.h"
#include "hdf5/Hdf5OutputLayout.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"

#include <algorithm>

namespace ombrel {

std::optional<RunState> readRunState(hid_t file, zt::u32 frames) {
    const auto done = numbersAt(file, outputlayout::framesDone, 1);
    const auto complete = numbersAt(file, outputlayout::complete, 1);
    const Hdf5Object table = openHdf5Object(file, outputlayout::frames);
    if (!done || !complete || !table.isOpen() || H5Iget_type(table) != H5I_DATASET ||
        Hdf5Sources().problemOf(table))
        return std::nullopt;
    const Hdf5Space space{H5Dget_space(table)};
    if (H5Sget_simple_extent_npoints(space) != static_cast<hssize_t>(frames))
        return std::nullopt;
    RunState state;
    state.framesPlanned = frames;
    state.framesDone = static_cast<zt::u32>(std::clamp<double>(done->values[0], 0, frames));
    state.complete = complete->values[0] == 1;
    try {
        state.framesFailed = static_cast<zt::u32>(countFailed(table, state.framesDone));
    } catch (const Error&) { // another program's table of that name
        return std::nullopt;
    }
    return state;
}

} // namespace ombrel
