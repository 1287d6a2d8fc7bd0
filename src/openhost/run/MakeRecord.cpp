#include "run/MakeRecord.h"

#include "base/FileKind.h"
#include "settings/SettingsFiles.h"

namespace ombrel {

namespace {

// The file whose bytes are the settings of the filter of that place.
std::string contentsOf(const RunOptions& options, std::size_t filter) {
    if (!options.settingsContents.empty() && !options.settingsContents[filter].empty())
        return options.settingsContents[filter];
    return FilterOption(options.filters[filter]).settings;
}

LinkRecord recordOf(const RunOptions& options, std::size_t filter, const FilterLink& link) {
    LinkRecord record{link.name(), {}, {}};
    const FilterOption option(options.filters[filter]);
    if (!option.settings.empty()) {
        record.settings = FileRecord::of(contentsOf(options, filter), true);
        record.settings->path = absolutePath(option.settings);
    }
    for (const std::string& file : link.filesRead())
        record.files.push_back(FileRecord::of(file, true));
    return record;
}

} // namespace

RunRecord makeRecord(const RunOptions& options, const FrameRange& range, const std::string& pluginPath,
                     Chain& chain) {
    RunRecord record;
    record.version = OMBREL_VERSION;
    record.plugin = FileRecord::of(pluginPath, true);
    for (std::size_t i = 0; i < options.filters.size(); ++i)
        record.chain.push_back(recordOf(options, i, chain.links()[i]));
    record.params = options.params;
    for (const std::string& assignment : options.params)
        if (const std::string file = ParamAssignment(assignment).fileUsed(); !file.empty())
            record.paramFiles.push_back(FileRecord::of(file, true));
    for (const std::string& input : options.inputs) {
        const auto [file, dataset] = splitDatasetPath(input);
        record.inputs.push_back(FileRecord::of(file, false));
        record.datasets.push_back(dataset);
    }
    record.begin = range.begin;
    record.end = range.end;
    record.outputType = options.outputType;
    record.replace = options.replace;
    record.deviceType = options.deviceType;
    if (!options.deviceMask.empty())
        record.deviceMask = FileRecord::of(splitDatasetPath(options.deviceMask).file, true);
    record.acqTime = options.acqTime;
    return record;
}

SettingsSource settingsOf(const RunOptions& options, std::size_t filter) {
    return {FilterOption(options.filters[filter]).settings, contentsOf(options, filter), {}, true};
}

std::vector<std::string> settingsFilesOf(const RunOptions& options) {
    std::vector<std::string> files;
    for (std::size_t i = 0; i < options.filters.size(); ++i)
        if (const std::string file = contentsOf(options, i); !file.empty())
            files.push_back(file);
    return files;
}

} // namespace ombrel
