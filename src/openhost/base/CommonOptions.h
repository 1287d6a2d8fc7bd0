#pragma once

#include <string>

namespace CLI {
class App;
}

namespace ombrel {

// Options that several commands have.
void addPluginOption(CLI::App& command, std::string& plugin);
void addLogOption(CLI::App& command, std::string& log);
// What is told to the user of it ends in `promise`.
void addJobsOption(CLI::App& command, unsigned& jobs, const std::string& promise = "");

} // namespace ombrel
