#pragma once

#include "host/IZenteo.h"

#include <cstdarg>
#include <string>

namespace PluginOmbrel {

// Prints a message and hands it to the host's log; every filter's logError is made of this. The finished text
// goes to the host as a format, so a percent sign in it is read again there. Returns the print buffer at its
// full length, text and trailing zeros.
std::string logMessage(zt::IZenteo& host, int flag, const char* format, va_list arguments);

} // namespace PluginOmbrel
