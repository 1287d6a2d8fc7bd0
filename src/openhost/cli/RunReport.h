#pragma once

#include "frame/FrameRow.h"
#include "run/RunNotes.h"

#include <span>
#include <string>
#include <vector>

namespace ombrel::cli {

// What a report tells of a run as a whole.
struct RunReport {
    std::string output;
    std::string record;       // the run as JSON, as the output has it
    zt::u64 begin = 0;        // index of the first row's frame in the stack
    zt::u64 maskedPixels = 0; // by the device
    std::vector<FrameRow> rows;
    std::vector<RunNotes::Kind> kinds; // frames that look as if something was wrong with them
};

// Writes the report as JSON, in one step. Throws Error.
void writeReport(const std::string& path, const RunReport& report);

} // namespace ombrel::cli
