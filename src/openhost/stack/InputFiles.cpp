#include "stack/InputFiles.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/FileDescriptor.h"
#include "base/Numbers.h"
#include "frame/FrameFile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <glob.h>
#include <map>
#include <sys/stat.h>

namespace ombrel {

namespace {

namespace fs = std::filesystem;

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// The digits at the front, without leading zeros; they are removed from `text`.
std::string_view takeNumber(std::string_view& text) {
    const auto end = std::ranges::find_if_not(text, isDigit);
    std::string_view digits(text.begin(), end);
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

} // namespace

bool comesBefore(std::string_view a, std::string_view b) {
    const std::string_view wholeA = a;
    const std::string_view wholeB = b;
    while (!a.empty() && !b.empty()) {
        if (isDigit(a.front()) && isDigit(b.front())) {
            const std::string_view one = takeNumber(a);
            const std::string_view other = takeNumber(b);
            if (one != other)
                return one.size() != other.size() ? one.size() < other.size() : one < other;
        } else {
            if (a.front() != b.front())
                return a.front() < b.front();
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.empty() && b.empty() ? wholeA < wholeB : a.empty();
}

bool isFileSeries(const std::string& input) {
    const std::string file = splitDatasetPath(input).file;
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0)
        return S_ISDIR(status.st_mode);
    return file.find_first_of("*?[") != std::string::npos;
}

namespace {

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> paths;
    try {
        for (const auto& entry : fs::directory_iterator(folder))
            if (!entry.path().filename().string().starts_with('.'))
                paths.push_back(entry.path().string());
    } catch (const fs::filesystem_error& error) {
        throw Error(folder + ": the folder cannot be read: " + error.code().message());
    }
    return paths;
}

std::vector<std::string> filesMatching(const std::string& pattern) {
    glob_t found{};
    const int code = ::glob(pattern.c_str(), GLOB_NOSORT, nullptr, &found);
    std::vector<std::string> paths(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    ::globfree(&found);
    if (code != 0 && code != GLOB_NOMATCH)
        throw Error(pattern + ": the files cannot be listed");
    if (paths.empty())
        throw Error(pattern + ": does not exist, and as a pattern it matches no file");
    return paths;
}

FileKind kindOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) // opening a pipe would block
        return S_ISDIR(status.st_mode) ? FileKind::Directory : FileKind::Special;
    return fileKind(FileDescriptor::openForReading(path));
}

// Sorts the paths by what the files hold.
class Selection {
public:
    explicit Selection(const std::string& shownInput) : input(shownInput) {}

    void add(const std::string& path) {
        const FileKind kind = kindOf(path);
        (FrameFile::canRead(kind) ? byKind[kind] : others).push_back(path);
    }

    InputFiles files() const {
        if (byKind.empty())
            throw Error(input + ": holds no frame files" +
                        (others.empty() ? "" : ", but " + countText(others.size(), "other file")));
        if (byKind.size() > 1)
            refuseSeveral();
        InputFiles selected{byKind.begin()->second, {}};
        checkOthers(selected.paths);
        for (const std::string& other : others)
            selected.others.push_back(nameOf(other));
        return selected;
    }

private:
    // Of the files that a folder or a pattern selects.
    fs::path folder() const { return fs::path(byKind.begin()->second.front()).parent_path(); }
    static std::string nameOf(const std::string& path) { return fs::path(path).filename().string(); }

    [[noreturn]] void refuseSeveral() const {
        std::string text;
        for (const auto& [kind, paths] : byKind)
            text += (text.empty() ? "" : ", ") + nameOf(paths.front()) +
                    (paths.size() > 1 ? " and " + std::to_string(paths.size() - 1) + " more" : "");
        throw Error(
            input + ": holds frame files of several formats (" + text +
            "); select those that belong together by a pattern in quotes, such as \"" +
            (folder() / ("*" + fs::path(byKind.begin()->second.front()).extension().string())).string() +
            "\"");
    }

    // A file that a detector left empty or cut off within its first bytes.
    void checkOthers(const std::vector<std::string>& frames) const {
        for (const std::string& other : others) {
            const fs::path ending = fs::path(other).extension();
            const auto endsLikeIt = [&](const std::string& path) {
                return fs::path(path).extension() == ending;
            };
            std::error_code failure;
            if (!ending.empty() && fs::is_regular_file(other, failure) &&
                std::ranges::any_of(frames, endsLikeIt))
                throw Error(other +
                            ": is not a frame file, but is named like one; restore it or move it away");
        }
    }

    std::string input;
    std::map<FileKind, std::vector<std::string>> byKind;
    std::vector<std::string> others;
};

} // namespace

InputFiles filesOfSeries(const std::string& input) {
    const auto [place, dataset] = splitDatasetPath(input);
    std::error_code failure;
    std::vector<std::string> paths = fs::is_directory(place, failure) ? filesIn(place) : filesMatching(place);
    std::ranges::sort(paths, comesBefore);
    Selection selection(place);
    for (const std::string& path : paths)
        selection.add(path);
    InputFiles files = selection.files();
    if (!dataset.empty())
        for (std::string& path : files.paths)
            path += "::" + dataset;
    return files;
}

std::string passedOverText(const std::string& input, const std::vector<std::string>& others) {
    if (others.empty())
        return {};
    constexpr std::size_t shown = 5;
    std::string text = input + ": passed over " + countText(others.size(), "other file") + ": ";
    for (std::size_t i = 0; i < std::min(shown, others.size()); ++i)
        text += (i == 0 ? "" : ", ") + others[i];
    return others.size() > shown ? text + " and " + std::to_string(others.size() - shown) + " more" : text;
}

} // namespace ombrel
