#pragma once

#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"

#include <string>
#include <vector>

namespace ombrel {

// Makes an HDF5 output whose frames and their table are views of the parts that the record names. Replaces
// the file in one step. `settings` are the bytes of the settings files. Throws Error.
void makeHdf5Whole(const OutputPlan& plan, const RunRecord& record, const std::vector<std::string>& settings);

} // namespace ombrel
