#pragma once

#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"

#include <string>
#include <vector>

namespace ombrel {

// Writes an HDF5 output whose frames and their table are views of the parts that the record names. Replaces
// the file atomically. `settings` are the bytes of the settings files. Throws Error.
void writeVirtualOutput(const OutputPlan& plan, const RunRecord& record,
                        const std::vector<std::string>& settings);

// Combines the outputs of several runs: an HDF5 file whose datasets are views of the parts, with relative
// names, so that all files can be moved together. Frames of a missing part read as NaN.

// Writes the combined output. The parts must be complete HDF5 outputs of this program, written by the same
// chain from the same inputs, with consecutive ranges. Throws Error that names the part and the problem.
void mergeParts(const std::vector<std::string>& parts, const std::string& whole);

// Throws Error if a part of the combined output is missing or has changed since the merge. A record without
// parts passes.
void checkParts(const std::string& whole, const RunRecord& record);
// Like checkParts(), for an HDF5 output, whose record is read.
void checkPartsOf(const std::string& output);

} // namespace ombrel
