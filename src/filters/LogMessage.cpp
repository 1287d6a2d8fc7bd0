#include "filters/LogMessage.h"

#include "filters/PluginName.h"
#include "support/Str.h"

namespace PluginOmbrel {

std::string logMessage(zt::IZenteo& host, int flag, const char* format, va_list arguments) {
    std::string text = str::printToBuffer(format, arguments);
    host.log(pluginName, flag, text.c_str());
    return text;
}

} // namespace PluginOmbrel
