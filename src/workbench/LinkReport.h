#pragma once

#include "workbench/ParamCopy.h"

#include <string>
#include <vector>

namespace ombrel::workbench {

// What became of a link when its filter was loaded, or given edits.
struct LinkReport {
    int id = 0;
    int revision = 0;
    bool hasWindow = false;        // settings of its own kind
    std::string failure;           // why it can't correct; empty when it can
    std::vector<ParamCopy> params; // as loaded, before any edit
    std::string edit;              // what came of the last edit, in one line; empty without one
    double editSeconds = 0;
};

} // namespace ombrel::workbench
