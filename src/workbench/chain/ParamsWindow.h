#pragma once

#include "zt/IDataFilter.h"

#include <QWidget>

namespace ombrel::workbench {

// Whether there is anything to show of the filter's parameters.
bool hasParameters(const zt::IDataFilter& filter);

// The parameters of a filter that has no window of its own, for editing. The filter must outlive the window.
class ParamsWindow final : public QWidget {
public:
    explicit ParamsWindow(const zt::IDataFilter& filter);
};

} // namespace ombrel::workbench
