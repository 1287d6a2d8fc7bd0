#pragma once

#include "base/CommandPaths.h"
#include "run/RunSetup.h"

namespace ombrel {

// All files that a run reads and writes, including those that the settings and parameters of its filters
// name.
CommandPaths pathsOf(const RunOptions& options);

// A file of frames, and the files that it refers to.
void addFrames(CommandPaths& paths, const std::string& path, const std::string& what,
               NamedBy by = NamedBy::CommandLine);
// The file that --dark names, if any.
void addDarkFile(CommandPaths& paths, const std::string& option);
// An input or an output, and the record that ombrel keeps next to a TIFF file.
void addInput(CommandPaths& paths, const std::string& input, NamedBy by = NamedBy::CommandLine);
void addOutput(CommandPaths& paths, const std::string& output, WhenThere whenThere);
// The calibration next to the settings file of a filter, and the files that the settings name.
void addFilesOfSettings(CommandPaths& paths, const std::string& filter, const std::string& settings);
void addPlugin(CommandPaths& paths, const std::string& plugin);

} // namespace ombrel
