#pragma once

#include "base/Console.h"
#include "zt/IDataFilter.h"

#include <QWidget>

#include <string>

namespace ombrel::workbench {

// Whether there is anything to show of the filter's parameters.
bool hasParameters(const zt::IDataFilter& filter);

// The parameters of a filter that has no window of its own, for editing. The filter must outlive the window.
class ParamsWindow final : public QWidget {
public:
    explicit ParamsWindow(const zt::IDataFilter& filter);
};

// The command line of `configure`.
struct ConfigureOptions {
    std::string filter;
    std::string settings;
    std::string frames; // empty: nothing was measured
    std::string size;   // "WxH"; empty: that of the frames, else of a usual detector
    std::string plugin;
};

// Opens the settings window of a filter on a settings file and waits until it is closed. Needs an
// application. Throws UsageError or Error.
void configure(const ConfigureOptions& options, Console& console);

} // namespace ombrel::workbench
