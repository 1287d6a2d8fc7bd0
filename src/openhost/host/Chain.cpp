#include "host/Chain.h"

#include "base/Error.h"

namespace ombrel {

FilterLink& Chain::add(FilterLink link) {
    return filters.emplace_back(std::move(link));
}

void Chain::setParam(const std::string& assignment) {
    bool found = false;
    for (FilterLink& link : filters) {
        const std::string prefix = link.name() + ":";
        if (!assignment.starts_with(prefix))
            continue;
        link.setParam(assignment.substr(prefix.size()));
        found = true;
    }
    if (found)
        return;
    std::string known;
    for (const FilterLink& link : filters)
        known += (known.empty() ? "" : ", ") + link.name();
    throw UsageError("\"" + assignment +
                     "\" is not of the form FILTER:PARAM=VALUE with a filter of the chain (" + known + ")");
}

FrameResult Chain::apply(FramePtr frame, ApplyMode mode) {
    FrameResult result{std::move(frame), {}};
    for (FilterLink& link : filters) {
        result = link.apply(std::move(result.frame), mode);
        if (!result) {
            result.failure = link.name() + ": " + result.failure;
            break;
        }
    }
    return result;
}

} // namespace ombrel
