#include "standalone/SettingsFiles.h"

#include <algorithm>
#include <filesystem>

namespace ombrel {

namespace {

bool namesInput(std::string_view key, const std::string& value) {
    std::error_code failure;
    return !key.starts_with("Log") && !value.empty() && std::filesystem::is_regular_file(value, failure);
}

} // namespace

std::vector<std::string> filesUsedBy(const SettingsTree& settings, const std::string& path) {
    std::vector<std::string> files;
    const auto add = [&](const std::string& file) {
        if (std::ranges::find(files, file) == files.end())
            files.push_back(file);
    };
    std::error_code failure;
    const std::string beside = std::filesystem::path(path).replace_extension(".bin").string();
    if (std::filesystem::is_regular_file(beside, failure))
        add(beside);
    for (const SettingsGroup& group : settings.groups)
        for (const SettingsItem& item : group.items)
            if (const auto* const text = std::get_if<std::string>(&item.value))
                if (namesInput(item.key, *text))
                    add(*text);
    return files;
}

std::string fileUsedBy(const std::string& assignment) {
    const std::size_t colon = assignment.find(':');
    const std::size_t equals = assignment.find('=');
    if (colon == std::string::npos || equals == std::string::npos || colon > equals)
        return {};
    const std::string value = assignment.substr(equals + 1);
    return namesInput(assignment.substr(colon + 1, equals - colon - 1), value) ? value : std::string();
}

} // namespace ombrel
