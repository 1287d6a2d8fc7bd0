#pragma once

#include "zt/IDataFilter.h"
#include "zt/IDev.h"

namespace zt {

class IFilterMgr {
public:
    // Registers the filter for the device and takes it over: the host ends it with destroy().
    virtual void addFilter(IDev* dev, IDataFilter* filter) = 0;
};

} // namespace zt
