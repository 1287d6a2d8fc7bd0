#pragma once

#include "base/Console.h"
#include "zt/IDataFilter.h"

#include <QWidget>

#include <string>

namespace ombrel::workbench {

// Whether the filter has any parameters to show.
bool hasParameters(const zt::IDataFilter& filter);

// An editor for the parameters of a filter without its own window. The filter must outlive it.
class ParamsWindow final : public QWidget {
public:
    explicit ParamsWindow(const zt::IDataFilter& filter);
};

// The command line of `configure`.
struct ConfigureOptions {
    std::string filter;
    std::string settings;
    std::string frames; // empty: no acquisition
    std::string size;   // "WxH"; empty: the size of the frames, else a default
    std::string plugin;
};

// Opens the settings window of a filter on a settings file and waits until it is closed. Needs an
// application. Throws UsageError or Error.
void configure(const ConfigureOptions& options, Console& console);

} // namespace ombrel::workbench
