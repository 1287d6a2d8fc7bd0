#include "standalone/FrameOutput.h"

#include "standalone/Error.h"
#include "standalone/FileLock.h"
#include "standalone/Hdf5Output.h"
#include "standalone/TiffOutput.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::array<std::string_view, 3> hdf5Endings{".h5", ".hdf5", ".nxs"};
constexpr std::array<std::string_view, 2> tiffEndings{".tif", ".tiff"};

bool hasEnding(const std::string& path, std::span<const std::string_view> endings) {
    const auto matches = [&](std::string_view ending) {
        const auto sameLetter = [](char one, char other) { return (one | 0x20) == (other | 0x20); };
        return path.size() > ending.size() &&
               std::equal(ending.begin(), ending.end(),
                          path.end() - static_cast<std::ptrdiff_t>(ending.size()), sameLetter);
    };
    return std::ranges::any_of(endings, matches);
}

} // namespace

bool FrameOutput::isOutputPath(const std::string& path) {
    return hasEnding(path, hdf5Endings) || hasEnding(path, tiffEndings);
}

std::vector<std::string> FrameOutput::filesBeside(const std::string& path) {
    if (!hasEnding(path, tiffEndings))
        return {};
    return {TiffRecord::pathFor(path)};
}

std::unique_ptr<FrameOutput> FrameOutput::create(const OutputPlan& plan) {
    if (hasEnding(plan.path, hdf5Endings))
        return std::make_unique<Hdf5Output>(plan);
    if (hasEnding(plan.path, tiffEndings))
        return std::make_unique<TiffOutput>(plan);
    throw Error(plan.path +
                ": the ending tells the format of an output; it must be .h5, .hdf5, .nxs, .tif or .tiff");
}

std::optional<OutputState> FrameOutput::stateOf(const std::string& path) {
    if (!std::filesystem::exists(path))
        return std::nullopt;
    if (isBeingWritten(path))
        throw Error(path + ": another run is writing it; try again when it has ended");
    return hasEnding(path, tiffEndings) ? TiffRecord::read(path) : readHdf5Output(path);
}

std::optional<OutputState> FrameOutput::stateToResume(const std::string& path, const std::string& record) {
    const bool isTiff = hasEnding(path, tiffEndings);
    if (isTiff && std::filesystem::exists(path) && TiffRecord::isMissing(path, record))
        return std::nullopt;
    std::optional<OutputState> state = stateOf(path);
    if (state && isTiff)
        TiffOutput::keepWholeFrames(*state);
    return state;
}

std::unique_ptr<FrameOutput> FrameOutput::resume(const OutputState& state) {
    if (hasEnding(state.plan.path, tiffEndings))
        return std::make_unique<TiffOutput>(state);
    return std::make_unique<Hdf5Output>(state);
}

std::string FrameOutput::settingsIn(const std::string& path, std::size_t index) {
    return hasEnding(path, tiffEndings) ? TiffRecord::settings(path, index)
                                        : settingsInHdf5Output(path, index);
}

} // namespace ombrel
