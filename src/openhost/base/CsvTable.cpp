#include "base/CsvTable.h"

#include "base/Error.h"

#include <algorithm>

namespace ombrel {

namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view withoutBlanksBefore(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text;
}

std::string withoutBlanksBehind(std::string_view text) {
    return std::string(text.substr(0, text.find_last_not_of(blanks) + 1));
}

// Takes the field off the line, up to its comma or the end.
std::string takePlain(std::string_view& line) {
    const std::size_t comma = std::min(line.find(','), line.size());
    const std::string field = withoutBlanksBehind(line.substr(0, comma));
    line.remove_prefix(comma);
    return field;
}

std::optional<std::string> takeQuoted(std::string_view& line) {
    std::string field;
    for (line.remove_prefix(1);; line.remove_prefix(1)) {
        const std::size_t quote = line.find('"');
        if (quote == std::string_view::npos)
            return std::nullopt;
        field += line.substr(0, quote);
        line.remove_prefix(quote + 1);
        if (!line.starts_with('"'))
            break;
        field += '"';
    }
    line = withoutBlanksBefore(line);
    return line.empty() || line.front() == ',' ? std::optional(field) : std::nullopt;
}

} // namespace

std::optional<std::vector<std::string>> splitCsvLine(std::string_view line) {
    std::vector<std::string> fields;
    for (;; line.remove_prefix(1)) {
        line = withoutBlanksBefore(line);
        const auto field = line.starts_with('"') ? takeQuoted(line) : takePlain(line);
        if (!field)
            return std::nullopt;
        fields.push_back(*field);
        if (line.empty())
            return fields;
    }
}

void ParseErrors::add(std::size_t line, const std::string& problem) {
    texts.push_back("line " + std::to_string(line) + ": " + problem);
}

void ParseErrors::throwIfAny() const {
    constexpr std::size_t mostListed = 20;
    if (texts.empty())
        return;
    std::string all = path;
    for (std::size_t i = 0; i < std::min(texts.size(), mostListed); ++i)
        all += (i == 0 ? ": " : "; ") + texts[i];
    if (texts.size() > mostListed)
        all += "; and " + std::to_string(texts.size() - mostListed) + " more";
    throw Error(all);
}

} // namespace ombrel
