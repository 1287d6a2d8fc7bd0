#include "standalone/cli/MakeRecord.h"

#include "standalone/FileKind.h"
#include "standalone/SettingsFiles.h"

namespace ombrel::cli {

namespace {

LinkRecord recordOf(const std::string& filter, const FilterLink& link) {
    LinkRecord record{link.name(), {}, {}};
    if (const auto equals = filter.find('='); equals != std::string::npos)
        record.settings = FileRecord::of(filter.substr(equals + 1), true);
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
        record.chain.push_back(recordOf(options.filters[i], chain.links()[i]));
    record.params = options.params;
    for (const std::string& assignment : options.params)
        if (const std::string file = fileUsedBy(assignment); !file.empty())
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

std::vector<std::string> settingsFilesOf(const RunOptions& options) {
    std::vector<std::string> files;
    for (const std::string& filter : options.filters)
        if (const auto equals = filter.find('='); equals != std::string::npos)
            files.push_back(filter.substr(equals + 1));
    return files;
}

} // namespace ombrel::cli
