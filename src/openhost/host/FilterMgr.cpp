#include "host/FilterMgr.h"

namespace ombrel {

FilterMgr::~FilterMgr() {
    while (!entries.empty())
        entries.pop_back();
}

std::vector<zt::IDataFilter*> FilterMgr::filtersOf(const zt::IDev& device) const {
    std::vector<zt::IDataFilter*> found;
    for (const Registration& entry : entries)
        if (entry.device == &device)
            found.push_back(entry.filter.get());
    return found;
}

void FilterMgr::addFilter(zt::IDev* dev, zt::IDataFilter* filter) {
    if (filter)
        entries.push_back({dev, FilterPtr(filter)});
}

} // namespace ombrel
