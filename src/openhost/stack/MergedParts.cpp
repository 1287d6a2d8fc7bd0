#include "stack/MergedParts.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/OutputFile.h"
#include "hdf5/Hdf5FrameTable.h"
#include "hdf5/Hdf5Nexus.h"
#include "hdf5/Hdf5Output.h"
#include "hdf5/Hdf5Values.h"
#include "hdf5/Hdf5Writer.h"
#include "metadata/Metadata.h"
#include "zt/Types.h"

#include <algorithm>
#include <filesystem>
#include <limits>

namespace ombrel {

void writeVirtualOutput(const OutputPlan& plan, const RunRecord& record,
                        const std::vector<std::string>& settings) {
    OutputFile output(plan.path);
    const Hdf5Session session;
    Hdf5Writer maker(output.newPath(), plan.path, plan.frames, 0);
    const zt::u64 framesDone = plan.frames;
    const zt::u8 complete = 1;
    maker.value(outputlayout::framesDone, H5T_NATIVE_UINT64, {}, &framesDone);
    maker.value(outputlayout::complete, H5T_NATIVE_UINT8, {}, &complete);
    maker.text("/implements", "exchange:process");
    maker.text(outputlayout::record, plan.record);
    if (!plan.touched.empty())
        maker.value(outputlayout::touched, H5T_STD_U32LE, {plan.height, plan.width}, plan.touched.data());
    for (std::size_t i = 0; i < settings.size(); ++i)
        maker.value((outputlayout::settings + std::to_string(i)).c_str(), H5T_NATIVE_UINT8,
                    {settings[i].size()}, settings[i].data());
    maker.view(outputlayout::frames, storedRowType(), {}, record.parts, nullptr);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const double wideNan = nan;
    const zt::u16 packedNan = plan.packing ? plan.packing->storedNan() : 0;
    const Hdf5Type pixel = storedHdf5Type(plan.pixelType, plan.packing);
    maker.view(outputlayout::data, pixel, {plan.height, plan.width}, record.parts,
               plan.packing                     ? static_cast<const void*>(&packedNan)
               : plan.pixelType == zt::DT_FLOAT ? &nan
                                                : static_cast<const void*>(&wideNan));
    if (plan.packing)
        maker.view(outputlayout::clipped, H5T_NATIVE_UINT64, {}, record.parts, nullptr);
    for (const std::string& name : plan.planes)
        maker.view((outputlayout::planes + name).c_str(), H5T_NATIVE_FLOAT, {plan.height, plan.width},
                   record.parts, &nan);
    markFrames(maker, plan);
    maker.close();
    if (plan.addMetadata)
        plan.addMetadata(output.newPath());
    output.publish();
    output.keep();
}

namespace {

struct Part {
    std::string path;
    OutputState state;
    RunRecord record;
};

// Identifies the frames of a part: a hash of the hashes of all its frames.
std::string partHash(const OutputState& state) {
    std::vector<zt::u64> hashes;
    for (const FrameRow& row : state.rows)
        hashes.insert(hashes.end(), {row.inputHash, row.outputHash, row.failed ? zt::u64{1} : zt::u64{0}});
    return hashText(pixelHash(std::as_bytes(std::span(hashes))));
}

Part openPart(const std::string& path) {
    Part part{path, readHdf5Output(path), {}};
    part.record = RunRecord::fromJson(part.state.plan.record);
    if (!part.record.parts.empty())
        throw Error(path + ": was itself merged from parts; merge those parts instead");
    if (!part.state.complete)
        throw Error(path + ": is incomplete: " + std::to_string(part.state.framesDone) + " of " +
                    countText(part.state.plan.frames, "frame") + " done; finish it with --resume");
    return part;
}

// Except for the ranges, the records must be equal.
void checkSameRun(const Part& part, const Part& first) {
    RunRecord record = part.record;
    record.begin = first.record.begin;
    record.end = first.record.end;
    const auto differences = record.differencesFrom(first.record);
    if (!differences.empty())
        throw Error(part.path + ": does not belong to the same run as " + first.path + ": " +
                    differences.front());
    if (part.state.plan.width != first.state.plan.width || part.state.plan.height != first.state.plan.height)
        throw Error(part.path + ": its frames differ in size from those of " + first.path);
}

void checkFollows(const Part& part, const Part& before) {
    if (part.record.begin == before.record.end)
        return;
    const std::string where = std::to_string(before.record.end) + " to " + std::to_string(part.record.begin);
    throw Error(part.record.begin > before.record.end
                    ? "frames are missing between " + before.path + " and " + part.path + ": " + where
                    : part.path + " and " + before.path + " hold the same frames");
}

std::string relativeTo(const std::string& whole, const std::string& part) {
    namespace fs = std::filesystem;
    return fs::absolute(part).lexically_normal().lexically_relative(
        fs::absolute(whole).lexically_normal().parent_path());
}

} // namespace

void mergeParts(const std::vector<std::string>& paths, const std::string& whole) {
    std::vector<Part> parts;
    for (const std::string& path : paths)
        parts.push_back(openPart(path));
    std::ranges::sort(parts, {}, [](const Part& part) { return part.record.begin; });
    RunRecord record = parts.front().record;
    record.end = parts.back().record.end;
    OutputPlan plan = parts.front().state.plan;
    plan.frames = record.end - record.begin;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        checkSameRun(parts[i], parts.front());
        if (i > 0)
            checkFollows(parts[i], parts[i - 1]);
        record.parts.push_back({relativeTo(whole, parts[i].path), parts[i].record.begin, parts[i].record.end,
                                partHash(parts[i].state)});
    }
    plan.touched = touchedInHdf5Output(parts.front().path);
    for (const Part& part : parts)
        if (touchedInHdf5Output(part.path) != plan.touched)
            throw Error(part.path + ": its map of touched pixels differs from that of " + parts.front().path +
                        "; its coefficients or its mask were not the same");
    plan.path = whole;
    std::vector<FramesOfFile> sources;
    for (const Part& part : parts)
        sources.push_back({part.path, 0, static_cast<zt::u32>(part.state.plan.frames)});
    plan.addMetadata = [&](const std::string& newFile) {
        copyMetadata(sources, newFile, isNexusPath(whole));
    };
    plan.record = record.toJson();
    std::vector<std::string> settings;
    for (const LinkRecord& link : record.chain)
        if (link.settings)
            settings.push_back(settingsInHdf5Output(parts.front().path, settings.size()));
    writeVirtualOutput(plan, record, settings);
}

void checkParts(const std::string& whole, const RunRecord& record) {
    const std::filesystem::path folder = std::filesystem::path(whole).parent_path();
    for (const PartRecord& part : record.parts) {
        const std::string path = (folder / part.path).string();
        if (!std::filesystem::exists(path))
            throw Error(whole + ": its part " + path + " is missing");
        if (partHash(readHdf5Output(path)) != part.hash)
            throw Error(whole + ": its part " + path + " has changed since the merge");
    }
}

void checkPartsOf(const std::string& output) {
    checkParts(output, RunRecord::fromJson(readHdf5Output(output).plan.record));
}

} // namespace ombrel
