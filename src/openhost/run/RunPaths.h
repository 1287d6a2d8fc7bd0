#pragma once

#include "base/CommandPaths.h"
#include "run/RunSetup.h"

namespace ombrel {

// All files that a run reads and writes, those included that its filters' settings and parameters name.
CommandPaths pathsOf(const RunOptions& options);

// A file of frames, with the files that it refers to.
void addFrames(CommandPaths& paths, const std::string& path, const std::string& what,
               NamedBy by = NamedBy::CommandLine);
// An input or an output, with the record that ombrel keeps beside a TIFF file.
void addInput(CommandPaths& paths, const std::string& input, NamedBy by = NamedBy::CommandLine);
void addOutput(CommandPaths& paths, const std::string& output, WhenThere whenThere);
// The calibration beside the settings file of a filter, and what the settings name.
void addFilesOfSettings(CommandPaths& paths, const std::string& filter, const std::string& settings);
void addPlugin(CommandPaths& paths, const std::string& plugin);

} // namespace ombrel
