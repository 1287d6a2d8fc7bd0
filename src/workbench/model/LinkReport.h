#pragma once

#include "model/ParamCopy.h"

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
    bool isEdited = false;         // since it was loaded
    std::string editTrouble;       // what the last edit failed of; empty when it was taken over
    double editSeconds = 0;        // that the last edit took
};

} // namespace ombrel::workbench
