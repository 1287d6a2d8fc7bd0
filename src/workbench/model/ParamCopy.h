#pragma once

#include "host/Param.h"
#include "zt/IDataFilter.h"

#include <string>
#include <vector>

namespace ombrel::workbench {

// A copy of a filter's parameter at one moment, for threads that must not call the filter.
struct ParamCopy {
    std::string name;
    std::string description;
    ParamValue value;
    bool isReadOnly = false;
    std::vector<std::string> aliases;
};

std::vector<ParamCopy> paramCopiesOf(const zt::IDataFilter& filter);

// As setParamFromText() reads it: the alias, or the shortest text that reads back.
std::string textOf(const zt::IParam& param);

} // namespace ombrel::workbench
