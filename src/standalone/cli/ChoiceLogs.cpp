#include "standalone/cli/ChoiceLogs.h"

#include "standalone/AtomicFile.h"
#include "standalone/Error.h"
#include "standalone/QualityLog.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace ombrel::cli {

namespace {

constexpr const char* group = "Settings";
constexpr const char* key = "LogQualityValuesFile";

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace

ChoiceLogs::ChoiceLogs() : folder(std::filesystem::temp_directory_path()) {
    if (pathOf(1000).size() >= qualityLogPathLimit)
        throw Error(pathOf(0) +
                    ": the path is too long for the filter's log; set TMPDIR to a shorter one, or "
                    "give --no-choice");
}

void ChoiceLogs::redirect(zt::ISettings& settings, std::size_t worker) {
    if (const std::string named = settings.getString(group, key, ""); !named.empty())
        userFile = named;
    settings.setString(group, key, pathOf(worker).c_str());
}

// The file is taken away, so that a frame without a search finds none.
std::optional<GridChoice> ChoiceLogs::read(std::size_t worker, zt::u64 frame) {
    const std::string path = pathOf(worker);
    std::error_code failure;
    if (!std::filesystem::exists(path, failure))
        return std::nullopt;
    const auto choice = choiceOf(readQualityLog(path));
    {
        const std::lock_guard lock(mutex);
        if (!userFile.empty() && frame >= lastFrame) {
            lastFrame = frame;
            lastText = textOf(path);
        }
    }
    std::filesystem::remove(path, failure);
    return choice;
}

void ChoiceLogs::copyToUserFile() const {
    if (userFile.empty() || lastText.empty())
        return;
    replaceFile(userFile, lastText);
}

} // namespace ombrel::cli
