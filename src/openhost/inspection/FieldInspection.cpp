#include "inspection/FieldInspection.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/FrameFile.h"
#include "inspection/InspectionReport.h"
#include "settings/SettingsFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace ombrel {

namespace {

[[noreturn]] void refuseList(const std::string& option, const std::string& text) {
    throw UsageError(option + " " + text + ": not a list of frames; write numbers and ranges, such as 3,7-9");
}

} // namespace

std::vector<zt::u64> parseFrameList(const std::string& option, const std::string& text) {
    constexpr zt::u64 most = 10'000'000; // more than any set of flat fields has
    std::set<zt::u64> frames;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string part = text.substr(begin, end - begin);
        const std::size_t dash = part.find('-');
        const auto first = readNumber<zt::u64>(part.substr(0, dash));
        const auto last = dash == std::string::npos ? first : readNumber<zt::u64>(part.substr(dash + 1));
        if (!first || !last || *last < *first || *last >= most)
            refuseList(option, text);
        for (zt::u64 frame = *first; frame <= *last; ++frame)
            frames.insert(frame);
        begin = end + 1;
    }
    return {frames.begin(), frames.end()};
}

void checkInspection(const InspectionOptions& options) {
    if (!options.exclude.empty())
        parseFrameList("--exclude", options.exclude);
    if (!options.only.empty())
        parseFrameList("--only", options.only);
    if (!options.report.empty() && !isReportPath(options.report))
        throw UsageError("--report " + options.report + ": the name must end in .json or .html");
}

void addInspectionPaths(CommandPaths& paths, const InspectionOptions& options, WhenThere whenThere) {
    if (!options.report.empty())
        paths.writes(options.report, "the report", whenThere);
}

FieldSet fieldSetOf(FrameStack& stack, const std::string& name) {
    FieldSet set{.name = name,
                 .width = stack.width(),
                 .height = stack.height(),
                 .places = {},
                 .read = [&stack](std::size_t field) { return stack.readFrame(field); }};
    for (std::size_t file = 0; file < stack.fileCount(); ++file)
        for (zt::u32 frame = 0; frame < stack.info(file).frames; ++frame)
            set.places.push_back({stack.info(file).path, frame});
    return set;
}

std::vector<std::size_t> FieldInspection::chosenByHand(std::size_t count) {
    const auto named = [&](const std::string& option, const std::string& text) {
        const auto frames = text.empty() ? std::vector<zt::u64>() : parseFrameList(option, text);
        return [=, begin = counted](std::size_t field) {
            return std::ranges::binary_search(frames, begin + field);
        };
    };
    const auto isExcluded = named("--exclude", options.exclude);
    const auto isWanted = named("--only", options.only);
    std::vector<std::size_t> chosen;
    for (std::size_t field = 0; field < count; ++field)
        if ((options.only.empty() || isWanted(field)) && !isExcluded(field))
            chosen.push_back(field);
    counted += count;
    return chosen;
}

std::vector<std::size_t> FieldInspection::judge(const FieldSet& set) {
    const std::vector<std::size_t> chosen = chosenByHand(set.places.size());
    if (chosen.empty())
        throw Error(set.places.front().file + ": --exclude and --only take out all " + set.name);
    FieldSet part = set;
    part.wantsThumbnails = wantsThumbnails();
    part.places.clear();
    for (const std::size_t field : chosen)
        part.places.push_back(set.places[field]);
    part.read = [&](std::size_t field) { return set.read(chosen[field]); };

    all.push_back(inspectFields(part, options.limits));
    const InspectionReport& report = all.back();
    announce(report);
    std::vector<std::size_t> fields;
    for (std::size_t i = 0; i < chosen.size(); ++i)
        if (options.keepAll || report.fields[i].verdict == Verdict::Good)
            fields.push_back(chosen[i]);
    used += fields.size();
    if (2 * fields.size() < chosen.size()) {
        writeReports();
        throw Error(set.places.front().file + ": only " + std::to_string(fields.size()) + " of " +
                    ombrel::countText(chosen.size(), "frame") + " of the " + set.name +
                    " are good; check the frames, or give --keep-all, --exclude or other limits");
    }
    return fields;
}

namespace {

// In the Data Exchange layout, dark frames have a dataset of their own.
std::unique_ptr<FrameStack> openDarks(const FrameFileInfo& info) {
    if (!info.kinds || info.kinds->dark == 0 || info.dataset.ends_with("/data_dark"))
        return nullptr;
    const std::string file = splitDatasetPath(info.path).file;
    const bool isExchange = info.dataset.starts_with("/exchange/");
    return std::make_unique<FrameStack>(std::vector{isExchange ? file : info.path}, FrameRole::Dark);
}

} // namespace

JudgedDarks FieldInspection::judged(std::unique_ptr<FrameStack> stack) {
    FieldSet set = fieldSetOf(*stack, "dark fields");
    set.areDarks = true;
    set.wantsThumbnails = wantsThumbnails();
    if (const FrameFileInfo& info = stack->info(0); info.dataset.ends_with("/data_dark"))
        for (FieldPlace& place : set.places)
            place.file = splitDatasetPath(info.path).file + "::" + info.dataset;
    all.push_back(inspectFields(set, options.limits));
    announce(all.back());
    JudgedDarks darks{std::move(stack), {}};
    for (std::size_t i = 0; i < set.places.size(); ++i)
        if (options.keepAll || all.back().fields[i].verdict == Verdict::Good)
            darks.good.push_back(i);
    return darks;
}

std::vector<JudgedDarks> FieldInspection::judgeDarks(const std::vector<std::string>& paths) {
    std::vector<JudgedDarks> sets;
    std::set<std::string> done;
    for (const std::string& path : paths)
        if (auto stack = openDarks(FrameFile::open(path)->info());
            stack && done.insert(stack->info(0).path).second)
            sets.push_back(judged(std::move(stack)));
    return sets;
}

std::vector<JudgedDarks> FieldInspection::judgeDarkFile(const std::string& path) {
    std::vector<JudgedDarks> sets;
    sets.push_back(judged(std::make_unique<FrameStack>(std::vector{path}, FrameRole::Dark)));
    return sets;
}

namespace {

std::string near(const Region& tile) {
    return "near x " + std::to_string(tile.x + tile.width / 2) + " y " +
           std::to_string(tile.y + tile.height / 2);
}

std::string signedPercent(double part) {
    char text[32];
    std::snprintf(text, sizeof text, "%+.3g %%", 100 * part);
    return text;
}

std::string noiseText(const InspectionReport& report) {
    char text[160];
    std::snprintf(text, sizeof text,
                  "their noise is %.3g times photon statistics; structure is judged by the noise of the set",
                  report.noise);
    return report.name + ": " + text;
}

} // namespace

void FieldInspection::announce(const InspectionReport& report) {
    for (const FieldVerdict& field : report.fields)
        if (field.verdict != Verdict::Good)
            console.warning(field.place.text() + (options.keepAll ? " kept: " : " left out: ") +
                            field.reason);
    if (report.noise != 1)
        console.warning(noiseText(report));
    if (report.drift && report.drift->isLevel)
        console.warning(report.name + ": the level changes by " + signedPercent(report.drift->level) +
                        " from the first frame to the last");
    if (report.drift && report.drift->isPattern)
        console.warning(report.name + ": the pattern changes by " + signedPercent(report.drift->pattern) +
                        ' ' + near(report.drift->tile) + " from the first frame to the last");
}

// One line for each reason: an adaptive calibration has a set for each point of its grid.
void FieldInspection::announceUnjudged() {
    std::map<std::string, std::vector<const InspectionReport*>> reasons;
    for (const InspectionReport& report : all)
        if (!report.unjudged.empty())
            reasons[report.unjudged].push_back(&report);
    for (const auto& [reason, sets] : reasons) {
        const InspectionReport& first = *sets.front();
        const std::string where =
            sets.size() == 1 ? first.name
                             : first.name + " and " + ombrel::countText(sets.size() - 1, "other set");
        console.warning(where + ": structure cannot be judged since " + reason +
                        (first.fields.size() == 1  ? "; nor can the level of a single frame"
                         : first.fields.size() < 4 ? "; only level and duplicates are judged"
                                                   : ""));
    }
}

void FieldInspection::finish() {
    for (const auto& [option, text] :
         {std::pair("--exclude", &options.exclude), std::pair("--only", &options.only)})
        if (!text->empty())
            if (const zt::u64 last = parseFrameList(option, *text).back(); last >= counted)
                throw UsageError(std::string(option) + " " + *text + ": there is no frame " +
                                 std::to_string(last) + "; the inputs hold " +
                                 ombrel::countText(counted, "frame") + ", counted from 0");
    announceUnjudged();
    writeReports();
}

void FieldInspection::writeReports() const {
    if (!options.report.empty())
        writeInspection(options.report, all);
    if (options.finished)
        options.finished(all);
}

std::string FieldInspection::countText(std::string_view noun) const {
    const std::string total = ombrel::countText(counted, noun);
    return used == counted ? total : std::to_string(used) + " of " + total;
}

void FieldInspection::note(SettingsTree& settings) const {
    settings.set(ownGroup, inspectionKey, inspectionJson(all));
    noteFilterGroups(settings);
}

} // namespace ombrel
