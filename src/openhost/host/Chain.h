#pragma once

#include "host/FilterLink.h"

#include <string>
#include <vector>

namespace ombrel {

// Filters in the order in which a frame goes through them.
class Chain {
public:
    FilterLink& add(FilterLink link);
    std::vector<FilterLink>& links() { return filters; }

    // "FILTER:PARAM=VALUE", for every link of that name. Throws as FilterLink::setParam, and UsageError when
    // the chain has no such filter.
    void setParam(const std::string& assignment);

    // The frame after the last filter, or the failure of the first one that failed, led in by its name. A
    // chain without filters gives the frame as it is.
    FrameResult apply(FramePtr frame, ApplyMode mode);

private:
    std::vector<FilterLink> filters;
};

} // namespace ombrel
