#include "run/RunPaths.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "frame/FrameFile.h"
#include "frame/FrameOutput.h"
#include "frame/PreviewImage.h"
#include "host/PluginLibrary.h"
#include "inspection/MeanDark.h"
#include "settings/SettingsFile.h"
#include "settings/SettingsFiles.h"

namespace ombrel {

namespace {

void addWrittenBy(CommandPaths& paths, const std::string& filter, std::string_view key,
                  const std::string& file, NamedBy by) {
    if (namesLogFile(key) && !file.empty())
        paths.writes(file, "the " + std::string(key) + " of " + filter, WhenThere::Replace, by);
}

void addDumps(CommandPaths& paths, const std::string& filter, NamedBy by) {
    paths.writesInto(".", "a dumped image of " + filter, isDumpName, by);
}

// Settings that can't be read name no file: the run fails before a filter loads them.
SettingsTree readableSettings(const std::string& path) {
    try {
        return readSettings(path);
    } catch (const Error&) {
        return {};
    }
}

void addParam(CommandPaths& paths, const ParamAssignment& assignment) {
    addWrittenBy(paths, assignment.filter, assignment.param, assignment.value, NamedBy::CommandLine);
    if (assignment.param == dumpKey && assignment.value != "false")
        addDumps(paths, assignment.filter, NamedBy::CommandLine);
    if (const std::string file = assignment.fileUsed(); !file.empty())
        paths.reads(file, "the " + assignment.param + " of " + assignment.filter);
}

void addFilters(CommandPaths& paths, const RunOptions& options) {
    for (const LinkOptions& link : options.links) {
        if (link.settings.empty())
            continue;
        paths.reads(link.settings, "the settings of " + link.name);
        addFilesOfSettings(paths, link.name, link.settings);
    }
    for (const std::string& assignment : options.params)
        addParam(paths, ParamAssignment(assignment));
}

} // namespace

void addFilesOfSettings(CommandPaths& paths, const std::string& filter, const std::string& settings) {
    const SettingsTree tree = readableSettings(settings);
    for (const std::string& file : filesUsedBy(tree, settings))
        paths.reads(file, "a calibration file of " + filter, NamedBy::File);
    for (const SettingsGroup& group : tree.groups)
        for (const SettingsItem& item : group.items) {
            if (const auto* const file = std::get_if<std::string>(&item.value))
                addWrittenBy(paths, filter, item.key, *file, NamedBy::File);
            if (const auto* const isOn = std::get_if<bool>(&item.value); isOn && *isOn && item.key == dumpKey)
                addDumps(paths, filter, NamedBy::File);
        }
}

void addPlugin(CommandPaths& paths, const std::string& plugin) {
    try {
        paths.reads(PluginLibrary::find(plugin), "the plug-in");
    } catch (const Error&) { // loading it reports the error
    }
}

void addFrames(CommandPaths& paths, const std::string& path, const std::string& what, NamedBy by) {
    paths.reads(path, what, by);
    const std::string own = splitDatasetPath(path).file;
    paths.readsThrough(own, "a source of " + what, [=] { return FrameFile::sourcesOf(own); });
}

void addDarkFile(CommandPaths& paths, const std::string& option) {
    if (isDarkFile(option))
        addFrames(paths, option, "the dark frames");
}

void addInput(CommandPaths& paths, const std::string& input, NamedBy by) {
    addFrames(paths, input, "an input", by);
    for (const std::string& file : FrameOutput::filesBeside(splitDatasetPath(input).file))
        paths.reads(file, "the record of an input", by);
}

void addOutput(CommandPaths& paths, const std::string& output, WhenThere whenThere) {
    paths.writes(output, "the output", whenThere);
    for (const std::string& file : FrameOutput::filesBeside(output))
        paths.writes(file, "the record of the output", WhenThere::Replace);
}

CommandPaths pathsOf(const RunOptions& options) {
    CommandPaths paths;
    for (const std::string& input : options.inputs)
        addInput(paths, input);
    addDarkFile(paths, options.dark);
    if (options.mask.isFile())
        addFrames(paths, options.mask.source, "the device mask");
    addPlugin(paths, options.plugin);
    addFilters(paths, options);
    const auto whenThere = options.force || options.resume ? WhenThere::Replace : WhenThere::Refuse;
    addOutput(paths, options.output, whenThere);
    if (!options.report.empty())
        paths.writes(options.report, "the report", whenThere);
    if (!options.preview.empty())
        paths.writesInto(options.preview, "a preview", PreviewFolder::isPreviewName);
    return paths;
}

} // namespace ombrel
