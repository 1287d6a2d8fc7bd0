#pragma once

#include "zt/IFilterMgr.h"

#include <memory>
#include <vector>

namespace ombrel {

struct DestroyFilter {
    void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
};

// Owns a filter.
using FilterPtr = std::unique_ptr<zt::IDataFilter, DestroyFilter>;

// The filters that plug-ins registered. It owns them, and ends the last one first.
class FilterMgr final : public zt::IFilterMgr {
public:
    struct Registration {
        zt::IDev* device;
        FilterPtr filter;
    };

    FilterMgr() = default;
    ~FilterMgr();
    FilterMgr(const FilterMgr&) = delete;
    FilterMgr& operator=(const FilterMgr&) = delete;

    // In the order in which they were registered.
    const std::vector<Registration>& registrations() const { return entries; }
    std::vector<zt::IDataFilter*> filtersOf(const zt::IDev& device) const;

    // A null filter is passed over.
    void addFilter(zt::IDev* dev, zt::IDataFilter* filter) override;

private:
    std::vector<Registration> entries;
};

} // namespace ombrel
