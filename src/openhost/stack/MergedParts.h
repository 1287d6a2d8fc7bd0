#pragma once

#include "frame/FrameOutput.h"
#include "frame/RunRecord.h"

#include <string>
#include <vector>

namespace ombrel {

// Makes an HDF5 output whose frames and their table are views of the parts that the record names. Replaces
// the file in one step. `settings` are the bytes of the settings files. Throws Error.
void writeVirtualOutput(const OutputPlan& plan, const RunRecord& record,
                        const std::vector<std::string>& settings);

// An output of several runs as one: an HDF5 file whose datasets are views of the parts' own, by names
// relative to it, so that whole and parts can be moved together. What a missing part would hold reads as NaN.

// Makes the whole. The parts are HDF5 outputs of this program that are complete and were made by the same
// chain from the same inputs; their ranges must follow each other. Throws Error naming the part and what is
// wrong with it.
void mergeParts(const std::vector<std::string>& parts, const std::string& whole);

// Throws Error when a part of the whole is missing or is another one than was merged. A record without parts
// is right.
void checkParts(const std::string& whole, const RunRecord& record);
// The same as checkParts() of an HDF5 output, whose record is read.
void checkPartsOf(const std::string& output);

} // namespace ombrel
