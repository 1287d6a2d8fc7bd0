#include "frame/RunRecord.h"

#include "base/NumberText.h"

namespace ombrel {

namespace {

class Differences {
public:
    void text(const std::string& what, const std::string& now, const std::string& before) {
        if (now != before)
            lines.push_back(what + ": " + now + " now, " + before + " before");
    }

    void file(const std::string& what, const FileRecord& now, const FileRecord& before) {
        if (now.path != before.path)
            text(what, now.path, before.path);
        else if (const std::string change = now.changeSince(before); !change.empty())
            lines.push_back(what + " " + now.path + ": " + change);
    }

    void files(const std::string& what, const std::vector<FileRecord>& now,
               const std::vector<FileRecord>& before) {
        text("number of " + what + "s", std::to_string(now.size()), std::to_string(before.size()));
        if (now.size() == before.size())
            for (std::size_t i = 0; i < now.size(); ++i)
                file(what, now[i], before[i]);
    }

    void file(const std::string& what, const std::optional<FileRecord>& now,
              const std::optional<FileRecord>& before) {
        if (now && before)
            file(what, *now, *before);
        else
            text(what, now ? now->path : "none", before ? before->path : "none");
    }

    std::vector<std::string> lines;
};

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all.empty() ? "none" : all;
}

std::string chainText(const std::vector<LinkRecord>& chain) {
    std::vector<std::string> names;
    for (const LinkRecord& link : chain)
        names.push_back(link.filter);
    return joined(names);
}

std::string timeText(const std::optional<double>& seconds) {
    return seconds ? numberText(*seconds) + " s" : "as in the files";
}

} // namespace

std::vector<std::string> RunRecord::differencesFrom(const RunRecord& before) const {
    Differences found;
    found.text("version of ombrel", version, before.version);
    found.file("plug-in", plugin, before.plugin);
    found.text("chain", chainText(chain), chainText(before.chain));
    if (chainText(chain) == chainText(before.chain))
        for (std::size_t i = 0; i < chain.size(); ++i) {
            found.file("settings", chain[i].settings, before.chain[i].settings);
            found.files("calibration file", chain[i].files, before.chain[i].files);
        }
    found.text("parameters", joined(params), joined(before.params));
    found.files("file of a parameter", paramFiles, before.paramFiles);
    found.files("input", inputs, before.inputs);
    found.text("datasets", joined(datasets), joined(before.datasets));
    const auto range = [](const RunRecord& record) {
        return std::to_string(record.begin) + ":" + std::to_string(record.end);
    };
    found.text("frames", range(*this), range(before));
    found.text("output type", outputType, before.outputType);
    found.text("correction", replace ? "in place" : "of a copy", before.replace ? "in place" : "of a copy");
    found.text("type of the device", std::to_string(deviceType), std::to_string(before.deviceType));
    found.file("device mask", deviceMask, before.deviceMask);
    found.text("acquisition time", timeText(acqTime), timeText(before.acqTime));
    return found.lines;
}

} // namespace ombrel
